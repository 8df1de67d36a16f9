#include "FuzzSupport.h"
#include "platform/formats/LimiFile.h"

#include <cmath>

using namespace korvel;

namespace {

// What the importer relies on: every value in range, the order naming every record once.
void Check(const formats::TLimiFile& f) {
    if (f.Name.empty() || f.Order.size() != f.Usages.size() + f.Ranges.size())
        std::abort();
    std::size_t chars = 0;
    for (char c : f.Name)
        chars += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    if (chars > formats::kLimiNameCapacity)
        std::abort();
    std::size_t usages = 0, ranges = 0;
    for (const auto& ref : f.Order) {
        const bool usage = ref.Kind == formats::TLimiRecordKind::Usage;
        if (ref.Index != (usage ? usages++ : ranges++))
            std::abort();
    }
    for (const auto& u : f.Usages) {
        if (u.Usage < 1 || u.Usage > formats::kLimiUsageAreas)
            std::abort();
        for (float v : u.Limits)
            if (!std::isfinite(v))
                std::abort();
        if (u.Additions)
            for (float v : *u.Additions)
                if (!std::isfinite(v))
                    std::abort();
    }
    for (const auto& r : f.Ranges)
        if (r.Begin < 0 || r.Begin > 24 || r.End < 0 || r.End > 24 || r.LoudestN < 0 || r.LoudestN > 24 ||
            r.Name.size() > 4 * formats::kLimiRangeTextCapacity)
            std::abort();
    for (int set = 1; set <= formats::kLimiLimitSets; ++set)
        f.LimitSet(set);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TByteSpan bytes(data, size);
    bool read = false;
    fuzz::Expect([&] {
        Check(formats::DecodeLimiFile(bytes, "Limi.fuzz"));
        read = true;
    });
    // The file reader must come to the same verdict as the bytes.
    fuzz::TScratchFile file("Limi.001", data, size);
    bool readFromFile = false;
    fuzz::Expect([&] {
        formats::ReadLimiFile(file.Path());
        readFromFile = true;
    });
    if (read != readFromFile)
        std::abort();
    return 0;
}
