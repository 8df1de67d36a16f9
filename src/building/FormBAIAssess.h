#pragma once

// The building-acoustics assessment library editor: the element list of the frame and the pages "Room types"
// (the room types in their colours with a navigator, name and colour; the classes with the dialog "Edit
// classes"; per class the conditions of the selected room type in a grid with its navigator) and "Comments".

#include "editor/CustomLibForm.h"
#include "platform/acoustic/BAIAssess.h"
#include "platform/dbctrls/FieldLinks.h"
#include "platform/ui/ColorBox.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/ValueGrid.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel::building {

inline constexpr int kBAIAssessLibType = 117;

// Columns of the condition grid.
enum TBAIColumn : int { bcType, bcFrom, bcToRoom, bcParam, bcFrequency, bcMod, bcLimit, bcCount };

class TFormBAIAssess : public TCustomLibForm {
public:
    explicit TFormBAIAssess(TLibHost& host);
    ~TFormBAIAssess() override;
    std::string_view ClassName() const override { return "TFormBAIAssess"; }

    // The element being edited, as read from the current record and changed by the page.
    acoustic::TBAIAssess& Scheme() { return scheme_; }
    // The room type and class whose conditions the grid shows; -1 when there is none.
    int SelectedRoom() const;
    int SelectedClass() const;

    // --- overrides of the frame
    void MainTableBeforePost(db::TTable& table) override;
    void SetCurIndex(int tabIndex) override;
    void SetReadOnly(int tabIndex, bool readOnly) override;
    void CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool keepNumbers,
                           TneAction& action) override;
    nlohmann::json ElementView() override;
    void ApplyElementView(const nlohmann::json& view) override;
    void RefreshElement() override;

    // --- handlers
    void ButtonClassesClick(TComponent& sender);
    void LBRoomsClick(TComponent& sender);
    void EditRoomNameChange(TComponent& sender);
    void ColorRoomChange(TComponent& sender);
    void TabClassesChange(TComponent& sender);

    // --- controls
    TEdit& EditName() const { return *editName_; }
    TPageControl& Pages() const { return *pages_; }
    TTabSheet& PageRooms() const { return *pageRooms_; }
    TTabSheet& PageComments() const { return *pageComments_; }
    TEdit& EditClasses() const { return *editClasses_; }
    TButton& ButtonClasses() const { return *buttonClasses_; }
    TListBox& LBRooms() const { return *lbRooms_; }
    TNavigator& NavRooms() const { return *navRooms_; }
    TEdit& EditRoomName() const { return *editRoomName_; }
    TColorBox& ColorRoom() const { return *colorRoom_; }
    TGroupBox& GroupConditions() const { return *groupConditions_; }
    TTabControl& TabClasses() const { return *tabClasses_; }
    TValueGrid& VGConditions() const { return *vgConditions_; }
    TNavigator& NavConditions() const { return *navConditions_; }

private:
    void BuildPages();
    void BuildRoomsPage(TTabSheet& page);
    void ShowElement();
    void ShowRooms(int select);
    void ShowRoom();
    void ShowClasses();
    void ShowConditions();
    void UpdateEditState();
    // Puts the record into edit mode for a change of the scheme; false when nothing may change.
    bool BeginChange();
    void InsertRoom();
    void DeleteRoom();

    // --- the condition grid (FormBAIAssessGrid.cpp)
    void BuildConditionGrid(TControl& parent);
    std::vector<acoustic::TBAICondition>* CurrentConditions();
    int ConditionCount();
    int CurrentCondition() const;
    void ConditionsChanged(int select);
    void InsertCondition();
    void DeleteCondition();
    void MoveToCondition(int index);
    std::string GridGetText(int col, int row);
    std::string GridGetEditText(int col, int row);
    void GridSetText(int col, int row, const std::string& text);
    void GridCellStyle(int col, int row, TCellStyle& style);
    std::string ToRoomText(const acoustic::TBAICondition& c) const;

    acoustic::TBAIAssess scheme_;
    // The record's blob could not be read: it is written back only when the scheme is changed.
    bool unreadable_ = false;
    bool schemeChanged_ = false;
    bool showing_ = false;
    // The tab and element shown last, to tell another element from the same one stored again.
    std::pair<int, int> shown_{-1, -1};
    int selectedRoom_ = -1;
    std::unique_ptr<TListNavTarget> roomNav_;
    std::unique_ptr<TListNavTarget> conditionNav_;
    std::vector<std::unique_ptr<TFieldLink>> links_;
    TSubscription gridWatch_;

    TEdit* editName_ = nullptr;
    TPageControl* pages_ = nullptr;
    TTabSheet* pageRooms_ = nullptr;
    TTabSheet* pageComments_ = nullptr;
    TMemo* memo_ = nullptr;
    TEdit* editClasses_ = nullptr;
    TButton* buttonClasses_ = nullptr;
    TListBox* lbRooms_ = nullptr;
    TNavigator* navRooms_ = nullptr;
    TEdit* editRoomName_ = nullptr;
    TColorBox* colorRoom_ = nullptr;
    TGroupBox* groupConditions_ = nullptr;
    TTabControl* tabClasses_ = nullptr;
    TValueGrid* vgConditions_ = nullptr;
    TNavigator* navConditions_ = nullptr;
};

} // namespace korvel::building
