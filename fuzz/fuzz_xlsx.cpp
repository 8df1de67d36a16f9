#include "FuzzSupport.h"
#include "platform/formats/Workbook.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    formats::TWorkbookLimits limits;
    limits.MaxCells = 200'000;
    limits.MaxPartBytes = 16u * 1024u * 1024u;
    fuzz::Expect([&] {
        const formats::TWorkbook book =
            formats::ReadXlsxBytes(std::string(reinterpret_cast<const char*>(data), size), limits);
        for (const auto& sheet : book.Sheets) {
            sheet.Cell(0, sheet.ColumnCount());
        }
    });
    return 0;
}
