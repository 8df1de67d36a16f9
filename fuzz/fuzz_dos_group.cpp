#include "FuzzSupport.h"
#include "platform/formats/DosLibFiles.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TByteSpan bytes(data, size);
    fuzz::Expect([&] {
        const auto names = formats::DecodeDosGroupFile(bytes);
        if (names.size() != size / formats::kDosGroupRecordSize) {
            std::abort();
        }
    });
    fuzz::Expect([&] { formats::DecodeDosGroupFile(bytes, 866); });
    fuzz::TScratchFile file("GRUPPE.002", data, size);
    const int last = static_cast<int>(size / formats::kDosGroupRecordSize);
    for (int n : {1, 2, 0, -3, last, last + 1}) {
        std::string name;
        fuzz::Expect([&] { formats::ReadDosGroupRecord(n, name, file.Path()); });
    }
    return 0;
}
