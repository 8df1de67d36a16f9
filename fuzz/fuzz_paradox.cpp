#include "FuzzSupport.h"
#include "platform/formats/ParadoxTable.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::TScratchFile file("EMIS.DB", data, size);
    fuzz::Expect([&] {
        const formats::TForeignTable t = formats::ReadParadoxTable(file.Path());
        for (const auto& row : t.Rows) {
            if (row.size() != t.Columns.size()) {
                std::abort();
            }
        }
        t.ColumnIndex("ElementName");
    });
    return 0;
}
