#include "building/FormBAIAssess.h"

#include "building/BAIAssessJson.h"
#include "building/EditClassesForm.h"
#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/LabelledRow.h"
#include "platform/ui/Ui.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace korvel::building {

using namespace acoustic;

namespace {

// Light colours for new room types, so that their names stay readable on them.
constexpr std::array<std::uint32_t, 8> kRoomColors = {0xFFE0B2, 0xC8E6C9, 0xBBDEFB, 0xF8BBD0,
                                                      0xFFF9C4, 0xD1C4E9, 0xB2EBF2, 0xD7CCC8};

TColor ToColor(std::uint32_t rgb) {
    return RGBToColor(static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
                      static_cast<std::uint8_t>(rgb));
}

std::uint32_t ToRgb(TColor color) {
    return (std::uint32_t{RedOf(color)} << 16) | (std::uint32_t{GreenOf(color)} << 8) | BlueOf(color);
}

} // namespace

TFormBAIAssess::TFormBAIAssess(TLibHost& host) : TCustomLibForm(host, "FormBAIAssess") {
    SetLibType(kBAIAssessLibType);
    SetBounds(Left(), Top(), 1180, 720);
    DBList().SetColumns({{"Eintrag", "###", 48, true}, {"ElementName", "Element name", 220, false}});
    BuildPages();
    // The room types, the current one being the list's.
    roomNav_ = std::make_unique<TListNavTarget>(TListNavTarget::TCallbacks{
        .Count = [this] { return static_cast<int>(scheme_.Rooms().size()); },
        .Current = [this] { return SelectedRoom(); },
        .CanModify =
            [this] {
                db::TTable* table = CurrentTable();
                return !CurrentReadOnly() && table && table->Active() && !table->IsEmpty();
            },
        .MoveTo = {},
        .Insert = [this] { InsertRoom(); },
        .Delete = [this] { DeleteRoom(); },
    });
    navRooms_->SetTarget(roomNav_.get());
    // The conditions of the grid, the current one being its row.
    conditionNav_ = std::make_unique<TListNavTarget>(TListNavTarget::TCallbacks{
        .Count = [this] { return ConditionCount(); },
        .Current = [this] { return CurrentCondition(); },
        .CanModify = [this] { return !CurrentReadOnly() && CurrentConditions() != nullptr; },
        .MoveTo = [this](int index) { MoveToCondition(index); },
        .Insert = [this] { InsertCondition(); },
        .Delete = [this] { DeleteCondition(); },
    });
    navConditions_->SetTarget(conditionNav_.get());
    DataSource().AddListener([this](db::TDataEvent event, const db::TField*) {
        if (event == db::TDataEvent::RecordChange || event == db::TDataEvent::DataSetChange)
            ShowElement();
    });
    ShowElement();
}

TFormBAIAssess::~TFormBAIAssess() {
    navRooms_->SetTarget(nullptr);
    navConditions_->SetTarget(nullptr);
}

// --- building

void TFormBAIAssess::BuildPages() {
    editName_ = &AddLabelledRow<TEdit>(DataArea(), "EditElementName", "Element name", 130);
    editName_->SetMaxLength(40);
    pages_ = &DataArea().Add<TPageControl>("PageControl");
    pages_->SetAlign(alClient);
    pageRooms_ = &pages_->AddPage("TabRoomTypes", "Room types");
    pageComments_ = &pages_->AddPage("TabComments", "Comments");
    BuildRoomsPage(*pageRooms_);
    memo_ = &pageComments_->Add<TMemo>("MemoKommentar");
    memo_->SetAlign(alClient);
}

void TFormBAIAssess::BuildRoomsPage(TTabSheet& page) {
    auto& classesRow = page.Add<TPanel>("PanelClasses");
    classesRow.SetAlign(alTop);
    classesRow.SetHeight(kRowHeight);
    auto& label = classesRow.Add<TLabel>("LabelClasses");
    label.SetCaption("Classes ");
    label.SetAlign(alLeft);
    label.SetWidth(70);
    buttonClasses_ = &classesRow.Add<TButton>("ButtonClasses");
    buttonClasses_->SetCaption(">>");
    buttonClasses_->SetHint("Edit classes");
    buttonClasses_->SetAlign(alRight);
    buttonClasses_->SetWidth(40);
    buttonClasses_->OnClick = Bind(&TFormBAIAssess::ButtonClassesClick);
    editClasses_ = &classesRow.Add<TEdit>("EditClasses");
    editClasses_->SetAlign(alClient);
    editClasses_->SetReadOnly(true);

    auto& rooms = page.Add<TGroupBox>("GroupRoomTypes");
    rooms.SetCaption("Room types");
    rooms.SetAlign(alLeft);
    rooms.SetWidth(250);
    colorRoom_ = &AddLabelledRow<TColorBox>(rooms, "ColorRoom", "Colour", 50);
    colorRoom_->Parent()->SetAlign(alBottom);
    colorRoom_->SetHint("Click to choose the colour of the room type");
    colorRoom_->OnChange = Bind(&TFormBAIAssess::ColorRoomChange);
    editRoomName_ = &AddLabelledRow<TEdit>(rooms, "EditRoomName", "Name", 50);
    editRoomName_->Parent()->SetAlign(alBottom);
    editRoomName_->OnChange = Bind(&TFormBAIAssess::EditRoomNameChange);
    navRooms_ = &rooms.Add<TNavigator>("NavRooms");
    navRooms_->SetAlign(alBottom);
    navRooms_->SetHeight(28);
    navRooms_->SetVisibleButtons({nbInsert, nbDelete});
    navRooms_->SetHint("Insert a room type before the selected one, or delete the selected one");
    lbRooms_ = &rooms.Add<TListBox>("LBRooms");
    lbRooms_->SetAlign(alClient);
    lbRooms_->OnClick = Bind(&TFormBAIAssess::LBRoomsClick);

    groupConditions_ = &page.Add<TGroupBox>("GroupConditions");
    groupConditions_->SetAlign(alClient);
    tabClasses_ = &groupConditions_->Add<TTabControl>("TabClasses");
    tabClasses_->SetAlign(alClient);
    tabClasses_->OnChange = Bind(&TFormBAIAssess::TabClassesChange);
    BuildConditionGrid(*tabClasses_);
}

// --- tabs and libraries

void TFormBAIAssess::SetCurIndex(int tabIndex) {
    links_.clear();
    TCustomLibForm::SetCurIndex(tabIndex);
    links_ = BindNameAndComment(*editName_, *memo_);
    ShowElement();
    SetReadOnly(tabIndex, TabReadOnly(tabIndex));
}

void TFormBAIAssess::SetReadOnly(int tabIndex, bool readOnly) {
    TCustomLibForm::SetReadOnly(tabIndex, readOnly);
    if (tabIndex != GetCurIndex())
        return;
    // A read-only library is still browsed: its room types are chosen to see their conditions.
    lbRooms_->SetEnabled(true);
    editClasses_->SetReadOnly(true);
    UpdateEditState();
}

void TFormBAIAssess::UpdateEditState() {
    const bool ro = CurrentReadOnly();
    db::TTable* table = CurrentTable();
    const bool element = table && table->Active() && !table->IsEmpty();
    const bool room = SelectedRoom() >= 0;
    buttonClasses_->SetEnabled(!ro && element);
    navRooms_->SetEnabled(!ro && element);
    editRoomName_->SetReadOnly(ro || !room);
    colorRoom_->SetReadOnly(ro || !room);
    navConditions_->SetEnabled(!ro && CurrentConditions() != nullptr);
    vgConditions_->SetEditing(!ro && CurrentConditions() != nullptr);
    navRooms_->UpdateButtons();
    navConditions_->UpdateButtons();
}

// --- showing

void TFormBAIAssess::ShowElement() {
    db::TTable* table = CurrentTable();
    if ((table && table->Tag == kTagBulkWork) || showing_)
        return;
    showing_ = true;
    struct TDone {
        bool& flag;
        ~TDone() { flag = false; }
    } done{showing_};
    vgConditions_->CancelEdit();
    TBAIAssess fresh;
    std::string warning;
    int element = -1;
    if (table && table->Active() && !table->IsEmpty()) {
        element = GetElementNo(GetCurIndex());
        try {
            fresh.ReadFromDB(*table);
        } catch (const EKorvelError& e) {
            warning = e.what();
        }
    }
    scheme_ = std::move(fresh);
    unreadable_ = !warning.empty();
    schemeChanged_ = false;
    // Another element starts on its first room type and class; the same one (after a store) stays where it
    // was, and a damaged blob is told of once.
    const std::pair<int, int> now{GetCurIndex(), element};
    const bool another = now != shown_;
    if (another) {
        selectedRoom_ = scheme_.Rooms().empty() ? -1 : 0;
        TSuspendEvents quiet(*tabClasses_);
        tabClasses_->SetTabs({});
    }
    shown_ = now;
    ShowRooms(selectedRoom_);
    ShowClasses();
    if (!warning.empty() && another)
        Ui().MessageDlg(warning +
                            " The scheme is shown empty and stays stored as it is unless it is changed.",
                        mtWarning, {mbOK});
}

void TFormBAIAssess::RefreshElement() {
    ShowElement();
}

int TFormBAIAssess::SelectedRoom() const {
    return selectedRoom_ >= 0 && selectedRoom_ < static_cast<int>(scheme_.Rooms().size()) ? selectedRoom_
                                                                                          : -1;
}

int TFormBAIAssess::SelectedClass() const {
    const int i = tabClasses_->TabIndex();
    return i >= 0 && i < static_cast<int>(scheme_.Classes().size()) ? i : -1;
}

void TFormBAIAssess::ShowRooms(int select) {
    const int count = static_cast<int>(scheme_.Rooms().size());
    selectedRoom_ = count == 0 ? -1 : std::clamp(select, 0, count - 1);
    std::vector<std::string> names;
    std::vector<TColor> colors;
    for (const TBAIRoom& r : scheme_.Rooms()) {
        names.push_back(r.Name);
        colors.push_back(ToColor(r.Color));
    }
    {
        TSuspendEvents quiet(*lbRooms_);
        if (lbRooms_->Items() != names)
            lbRooms_->SetItems(names);
        lbRooms_->SetItemColors(std::move(colors));
        lbRooms_->SetItemIndex(selectedRoom_);
    }
    ShowRoom();
}

void TFormBAIAssess::ShowRoom() {
    const int room = SelectedRoom();
    const TBAIRoom* r = room >= 0 ? &scheme_.Rooms()[static_cast<std::size_t>(room)] : nullptr;
    {
        TSuspendEvents quiet(*editRoomName_, *colorRoom_);
        editRoomName_->SetText(r ? r->Name : std::string());
        colorRoom_->SetColor(ToColor(r ? r->Color : 0xFFFFFF));
    }
    groupConditions_->SetCaption("Conditions for classes of room type \"" + (r ? r->Name : std::string()) +
                                 "\"");
    ShowConditions();
}

void TFormBAIAssess::ShowClasses() {
    editClasses_->SetText(scheme_.ClassesString());
    std::vector<std::string> tabs;
    for (const TBAIAssessClass& c : scheme_.Classes())
        tabs.push_back(c.Name);
    {
        TSuspendEvents quiet(*tabClasses_);
        tabClasses_->SetTabs(std::move(tabs));
    }
    ShowConditions();
}

// --- changes

bool TFormBAIAssess::BeginChange() {
    if (CurrentReadOnly() || !EnsureEditing())
        return false;
    schemeChanged_ = true;
    return true;
}

void TFormBAIAssess::LBRoomsClick(TComponent& /*sender*/) {
    vgConditions_->LeaveEditMode();
    selectedRoom_ = lbRooms_->ItemIndex();
    ShowRoom();
}

void TFormBAIAssess::TabClassesChange(TComponent& /*sender*/) {
    ShowConditions();
}

void TFormBAIAssess::InsertRoom() {
    if (!BeginChange())
        return;
    const int count = static_cast<int>(scheme_.Rooms().size());
    const int at = SelectedRoom() < 0 ? count : SelectedRoom();
    int n = count + 1;
    auto taken = [&](const std::string& name) {
        return std::any_of(scheme_.Rooms().begin(), scheme_.Rooms().end(),
                           [&](const TBAIRoom& r) { return r.Name == name; });
    };
    while (taken("Room type " + std::to_string(n)))
        ++n;
    scheme_.InsertRoom(at, "Room type " + std::to_string(n),
                       kRoomColors[static_cast<std::size_t>(count) % kRoomColors.size()]);
    scheme_.AssignRoomsToClasses();
    ShowRooms(at);
}

void TFormBAIAssess::DeleteRoom() {
    const int room = SelectedRoom();
    if (room < 0 || !BeginChange())
        return;
    scheme_.DeleteRoom(room);
    scheme_.AssignRoomsToClasses();
    ShowRooms(room);
}

void TFormBAIAssess::EditRoomNameChange(TComponent& /*sender*/) {
    const int room = SelectedRoom();
    if (room < 0 || !BeginChange())
        return;
    scheme_.Rooms()[static_cast<std::size_t>(room)].Name = editRoomName_->Text();
    // The list and the caption follow the typing; the name edit keeps its text.
    ShowRooms(room);
}

void TFormBAIAssess::ColorRoomChange(TComponent& /*sender*/) {
    const int room = SelectedRoom();
    if (room < 0 || !BeginChange())
        return;
    scheme_.Rooms()[static_cast<std::size_t>(room)].Color = ToRgb(colorRoom_->Color());
    ShowRooms(room);
}

void TFormBAIAssess::ButtonClassesClick(TComponent& /*sender*/) {
    if (CurrentReadOnly() || !CurrentTable() || CurrentTable()->IsEmpty())
        return;
    vgConditions_->LeaveEditMode();
    std::vector<std::string> names;
    for (const TBAIAssessClass& c : scheme_.Classes())
        names.push_back(c.Name);
    TFormEditClasses dialog(Ui(), names);
    if (Ui().ShowModal(dialog) != mrOk)
        return;
    std::vector<TBAIAssessClass> classes;
    for (const TFormEditClasses::TEntry& e : dialog.Entries()) {
        TBAIAssessClass c =
            e.Source >= 0 ? scheme_.Classes()[static_cast<std::size_t>(e.Source)] : TBAIAssessClass{};
        c.Name = e.Name;
        classes.push_back(std::move(c));
    }
    if (classes == scheme_.Classes() || !BeginChange())
        return;
    scheme_.Classes() = std::move(classes);
    scheme_.AssignRoomsToClasses();
    ShowClasses();
}

// --- storing

void TFormBAIAssess::MainTableBeforePost(db::TTable& table) {
    TCustomLibForm::MainTableBeforePost(table);
    if (table.Tag == kTagBulkWork)
        return;
    Host().BringToFront(*this);
    vgConditions_->LeaveEditMode();
    if (TrimText(db::FieldString(table, "ElementName")).empty()) {
        Ui().MessageDlg("No element name entered, please enter a name first!", mtError, {mbOK});
        Abort();
    }
    if (&table != CurrentTable())
        return;
    if (!unreadable_ || schemeChanged_) {
        if (const std::string problem = scheme_.RoomNameProblem(); !problem.empty())
            throw EKorvelError(problem);
        scheme_.WriteToDB(table);
    }
    if (db::TField* f = table.FindField("LastChangeDateTime"))
        f->SetAsDateTime(db::Now());
}

void TFormBAIAssess::CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool /*keepNumbers*/,
                                       TneAction& action) {
    std::optional<TCopyEnds> ends = CopyEnds(srcTab, dstTab, target, action);
    if (!ends)
        return;
    db::TTable& src = ends->Src;
    db::TTable& dst = ends->Dst;
    TBAIAssess scheme;
    bool readable = true;
    try {
        scheme.ReadFromDB(src);
    } catch (const EKorvelError&) {
        readable = false; // carried over as it is, so that nothing is lost
    }
    db::TField* blob = src.FindField(kBAISchemeField);
    const db::TValue raw = blob ? blob->Value() : db::TValue{};
    db::TField* stamp = src.FindField("LastChangeDateTime");
    const db::TValue changed = stamp ? stamp->Value() : db::TValue{};
    std::string name = db::FieldString(src, "ElementName");
    const std::string comment = db::FieldString(src, "Kommentar");

    TBulkTag bulk(dst);
    if (!CheckNameTwice(Ui(), dst, "EN", name, action))
        return;
    TPendingRecord pending(dst);
    dst.FieldByName("ElementName").SetAsString(name);
    if (db::TField* f = dst.FindField("Kommentar"))
        f->SetAsString(comment);
    if (readable)
        scheme.WriteToDB(dst);
    else
        dst.FieldByName(kBAISchemeField).SetValue(raw);
    if (db::TField* f = dst.FindField("LastChangeDateTime"))
        f->SetValue(changed);
    PostOrCancel(dst);
}

// --- element view

nlohmann::json TFormBAIAssess::ElementView() {
    db::TTable* table = CurrentTable();
    if (!table || !table->Active() || table->IsEmpty())
        return nlohmann::json::object();
    TBAIAssess scheme;
    scheme.ReadFromDB(*table);
    return nlohmann::json(BAIAssessToJson(scheme, db::FieldString(*table, "ElementName"),
                                          db::FieldString(*table, "Kommentar")));
}

void TFormBAIAssess::ApplyElementView(const nlohmann::json& view) {
    db::TTable* table = CurrentTable();
    if (!table || !table->Editing())
        throw EKorvelError("No element is being edited");
    TBAIAssess scheme;
    bool readable = true;
    try {
        scheme.ReadFromDB(*table);
    } catch (const EKorvelError&) {
        readable = false;
    }
    const bool changes = BAIAssessJsonChangesScheme(view);
    std::string name = db::FieldString(*table, "ElementName");
    std::string comment = db::FieldString(*table, "Kommentar");
    BAIAssessFromJson(view, scheme, name, comment);
    table->FieldByName("ElementName").SetAsString(name);
    if (db::TField* f = table->FindField("Kommentar"))
        f->SetAsString(comment);
    scheme_ = std::move(scheme);
    unreadable_ = !readable;
    schemeChanged_ = changes;
    // The record carries the scheme at once, so whatever stores it stores this.
    if (readable || changes)
        scheme_.WriteToDB(*table);
}

} // namespace korvel::building

namespace {

KORVEL_REGISTER_LIB_EDITOR(korvel::building::kBAIAssessLibType, [](korvel::TLibHost& host, int) {
    return std::unique_ptr<korvel::TCustomLibForm>(std::make_unique<korvel::building::TFormBAIAssess>(host));
});

} // namespace
