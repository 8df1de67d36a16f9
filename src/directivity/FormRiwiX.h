#pragma once

// The directivity library editor as far as the sound library needs it: the element list with names and
// comments, so that emission elements can pick, and copies can carry, their directivity. The directivity
// data pages come with the directivity storage.

#include "editor/CustomLibForm.h"
#include "platform/dbctrls/FieldLinks.h"

#include <memory>
#include <vector>

namespace korvel::directivity {

class TFormRiwiX : public TCustomLibForm {
public:
    explicit TFormRiwiX(TLibHost& host);
    std::string_view ClassName() const override { return "TFormRiwiX"; }

    void MainTableBeforePost(db::TTable& table) override;
    void SetCurIndex(int tabIndex) override;
    void CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool keepNumbers,
                           TneAction& action) override;

private:
    std::vector<std::unique_ptr<TFieldLink>> links_;
    TEdit* editName_ = nullptr;
    TMemo* memo_ = nullptr;
};

} // namespace korvel::directivity
