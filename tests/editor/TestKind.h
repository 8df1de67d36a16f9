#pragma once

// A small kind of the tests' own (in the slot of type 8) whose editor has a picture and imports text files.

#include "editor/CustomLibForm.h"
#include "platform/base/LibSchema.h"

#include <string>
#include <vector>

namespace korvel::test {

inline constexpr int kTestType = 8;

inline TLibSchema TestKindSchema() {
    TLibSchema schema;
    schema.FieldIndexDefs = [](TMyTable& lib) {
        AddElementFields(lib.GetTable()->Defs(), "ElementName");
        lib.GetTable()->Defs().AddField("Bild", db::TFieldType::Graphic);
    };
    return schema;
}

class TTestKindEditor : public TCustomLibForm {
public:
    explicit TTestKindEditor(TLibHost& host) : TCustomLibForm(host, "TestKindEditor") {
        SetLibType(kTestType);
        CreatePictureField(DataArea(), "Bild");
    }
    std::string GetImportFilter() override { return "Text (*.txt)|*.txt"; }
    // Appends one element per imported file, named after it, and notes the table's tag while it runs.
    void ImportFile(const std::string& fileName) override {
        db::TTable& t = *GetMainTable(GetCurIndex());
        TagsSeen.push_back(t.Tag);
        FilteredSeen.push_back(t.Filtered());
        t.Append();
        t.FieldByName("ElementName").SetAsString(fileName.substr(fileName.find_last_of('/') + 1));
        t.Post();
    }
    std::vector<int> TagsSeen;
    std::vector<bool> FilteredSeen;
};

} // namespace korvel::test
