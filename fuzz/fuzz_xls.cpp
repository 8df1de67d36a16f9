#include "FuzzSupport.h"
#include "platform/formats/Workbook.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::TScratchFile file("book.xls", data, size);
    formats::TWorkbookLimits limits;
    limits.MaxCells = 200'000;
    fuzz::Expect([&] {
        const formats::TWorkbook book = formats::ReadXls(file.Path(), limits);
        for (const auto& sheet : book.Sheets) {
            sheet.Cell(0, sheet.ColumnCount());
        }
    });
    return 0;
}
