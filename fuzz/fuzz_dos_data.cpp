#include "FuzzSupport.h"
#include "platform/formats/DosLibFiles.h"

#include <cstring>

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::size_t whole = size / formats::kDosDataRecordSize;
    for (std::size_t i = 0; i < whole; ++i) {
        fuzz::Expect([&] {
            const TByteSpan rec(data + i * formats::kDosDataRecordSize, formats::kDosDataRecordSize);
            const auto decoded = formats::DecodeDosDataRecord(rec);
            // The spectrum is copied bit for bit by the encoder.
            const auto again = formats::EncodeDosDataRecord(decoded);
            if (std::memcmp(again.data() + 590, rec.data() + 590, 96) != 0) {
                std::abort();
            }
        });
    }
    // The file reader, at record numbers in and beyond the file, negative ones included.
    fuzz::TScratchFile file("LIBDATA.002", data, size);
    const int last = static_cast<int>(whole);
    for (int n : {1, 2, 0, -1, -last, last, last + 1}) {
        formats::TDosDataRecord rec;
        fuzz::Expect([&] {
            const int result = formats::ReadDosDataRecord(n, rec, file.Path());
            const long long index = n > 0 ? n - 1 : 1 - static_cast<long long>(n);
            const bool complete = static_cast<std::size_t>(index + 1) * formats::kDosDataRecordSize <= size;
            if ((result == 0) != complete) {
                std::abort();
            }
        });
    }
    return 0;
}
