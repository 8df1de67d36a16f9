#include "FuzzSupport.h"
#include "sound/ElementFilter.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::TScratchFile file("lib.fil", data, size);
    std::string library = file.Path();
    library.replace(library.size() - 4, 4, ".sqlite");
    fuzz::Expect([&] {
        sound::TFilterRec rec;
        sound::LoadFilter(library, rec);
        rec.Enabled();
        for (int slot = 0; slot < sound::kFilterGroupSlots; ++slot) {
            rec.Group(slot);
        }
        rec.Min();
        rec.Max();
        rec.UpdateActiveFlags();
        const std::string text = rec.GetTextFilter();
        sound::JoinFilterParts({sound::BuildRangeFilter(rec, "Summe"),
                                sound::BuildGroupFilter(1, sound::kUnknownGroupNo, rec.Operator())});
        sound::TextFilterAccepts(text, "comment", "name");
    });
    return 0;
}
