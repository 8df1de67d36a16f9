#include "FuzzSupport.h"
#include "platform/formats/DosLibFiles.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TByteSpan bytes(data, size);
    fuzz::Expect([&] {
        const auto records = formats::DecodeDosIndexFile(bytes);
        if (records.size() != size / formats::kDosIndexRecordSize) {
            std::abort(); // every complete record must come out
        }
        for (const auto& rec : records) {
            // What was read must survive being written again.
            const auto again = formats::DecodeDosIndexRecord(formats::EncodeDosIndexRecord(rec));
            if (again.Entry != rec.Entry || again.Groups != rec.Groups) {
                std::abort();
            }
        }
    });
    fuzz::Expect([&] { formats::DecodeDosIndexFile(bytes, 437); });
    return 0;
}
