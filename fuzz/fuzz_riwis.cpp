#include "FuzzSupport.h"
#include "platform/formats/RiwisFile.h"

#include <bit>

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TByteSpan bytes(data, size);
    fuzz::Expect([&] {
        const auto records = formats::DecodeRiwisFile(bytes);
        if (records.size() != size / formats::kRiwisRecordSize) {
            std::abort(); // every whole record must come out, or the file is refused
        }
        for (const auto& rec : records) {
            // What was read must survive being written again, bit for bit.
            const auto again = formats::DecodeRiwisRecord(formats::EncodeRiwisRecord(rec));
            for (std::size_t i = 0; i < rec.Werte.size(); ++i) {
                if (std::bit_cast<std::uint32_t>(again.Werte[i]) !=
                    std::bit_cast<std::uint32_t>(rec.Werte[i])) {
                    std::abort();
                }
            }
            if (again.Nummer != rec.Nummer) {
                std::abort();
            }
        }
    });
    fuzz::Expect([&] { formats::DecodeRiwisFile(bytes, 437); });
    return 0;
}
