#pragma once

namespace korvel {

// The y-axis of a kind's printouts: automatic, or a fixed range.
struct TYScaleFmt {
    bool Auto = true;
    double Min = 0;
    double Max = 100;
    bool operator==(const TYScaleFmt&) const = default;
};

// Limits are stored in thousandths as whole numbers, which bounds them to this magnitude.
inline constexpr double kMaxYScaleValue = 2000000;

// Auto, 0..100; absorption (type 121) is a fraction, so 0..1.
TYScaleFmt DefaultYScale(int libType);

// The kind's scale from the printout scale settings; missing or unparsable values read as the default. A
// stored range whose maximum is not above its minimum reads as automatic. Unknown types throw EKorvelError.
TYScaleFmt ReadYScale(int libType);
// Throws EKorvelError for an unknown type or a limit beyond kMaxYScaleValue.
void WriteYScale(int libType, const TYScaleFmt& scale);

} // namespace korvel
