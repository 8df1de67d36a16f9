#include "FuzzSupport.h"
#include "platform/formats/Workbook.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    formats::TWorkbookLimits limits;
    limits.MaxCells = 200'000;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    for (int codePage : {1252, 1251}) {
        fuzz::Expect([&] {
            const formats::TWorkbook book = formats::ReadTextTable(bytes, "sheet", codePage, limits);
            if (book.Sheets.size() != 1) {
                std::abort();
            }
        });
    }
    return 0;
}
