#pragma once

// The pollutants library editor: name and short name, limit values for information, the percentile
// evaluation and the settling properties used by the dispersion models.

#include "editor/CustomLibForm.h"
#include "platform/dbctrls/FieldLinks.h"
#include "platform/ui/ListCtrls.h"

#include <map>
#include <memory>
#include <string>

namespace korvel::meteo {

// One pollutant as the editor holds it; fields an older table lacks read as their defaults.
struct TData {
    std::string Short;
    std::string StoffName;
    bool NOx = false;
    double LimitMean = 0;
    double Perc = 98.0;
    double LimitPerc = 0;
    bool FromDayMean = false;
    int Kornfraktion = 0;
    double Sedimentation = 0;
    double Deposition = 0;
    std::string Kommentar;
};

// Reads the current record; NOx of a table without the field is set exactly for the name "NO".
TData ReadData(db::TTable& table);
// Writes into the record those values whose fields the table has.
void WriteData(const TData& data, db::TTable& table);

class TFormPollutants : public TCustomLibForm {
public:
    TFormPollutants(TLibHost& host);
    std::string_view ClassName() const override { return "TFormPollutants"; }

    const TData& Data() const { return data_; }

    void MainTableBeforePost(db::TTable& table) override;
    void SetCurIndex(int tabIndex) override;
    void OpenLibrary(int tabIndex, const std::string& fileName) override;
    void SetReadOnly(int tabIndex, bool readOnly) override;
    void CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool keepNumbers,
                           TneAction& action) override;
    nlohmann::json ElementView() override;
    void ApplyElementView(const nlohmann::json& view) override;
    void RefreshElement() override;

    void CBKornfraktionChange(TComponent& sender);

private:
    void BuildPages();
    // Binds the controls of the optional fields the current table has; the others show the defaults.
    void BindOptionalFields();
    void ShowElement();
    // Adds "FromDayMean" to a library from before that field.
    void UpdateLibraryFields(int tabIndex);

    TData data_;
    TComboBox* cbKornfraktion_ = nullptr;
    std::vector<std::unique_ptr<TFieldLink>> links_;
    // Optional field -> its control and, while the table has the field, its link.
    struct TOptional {
        TControl* Control = nullptr;
        std::unique_ptr<TFieldLink> Link;
    };
    std::map<std::string, TOptional> optional_;
};

} // namespace korvel::meteo
