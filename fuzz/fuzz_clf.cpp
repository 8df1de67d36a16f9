#include "FuzzSupport.h"
#include "platform/formats/ClfFile.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TByteSpan bytes(data, size);
    fuzz::Expect([&] { formats::ClfVersion(bytes); });
    fuzz::Expect([&] {
        const formats::TClfFile f = formats::DecodeClf(bytes);
        formats::ClfDescription(f.Header, "/speakers/box.CF2");
        formats::ClfLicenseWarning(f.Header.LicenseType);
        // Everything the importer visits: the given bands, every meridian and parallel.
        float sum = 0;
        for (auto b = static_cast<int>(f.MinBand); b <= static_cast<int>(f.MaxBand); ++b) {
            f.LibraryBand(b);
            for (int m = 0; m < f.Meridians(); ++m) {
                for (int p = 0; p < f.Parallels(); ++p) {
                    sum += f.BalloonValue(b, m, p);
                }
            }
        }
        static_cast<void>(sum);
        formats::EncodeClf(f);
    });
    return 0;
}
