#include "editor/ColorKeys.h"

#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/ui/Ui.h"

#include <cstdio>
#include <cstdlib>

namespace korvel {

namespace {

constexpr const char* kSection = "Colors";

std::string Hex(TColor c) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%06X", static_cast<unsigned>(c & 0xFFFFFF));
    return buf;
}

} // namespace

TColor ReadColorKey(const TColorKey& key) {
    const std::string text = TIniStore(KorvelLibIniFileName()).ReadString(kSection, std::string(key.Key), "");
    char* end = nullptr;
    const unsigned long v = std::strtoul(text.c_str(), &end, 16);
    if (text.size() != 6 || end != text.c_str() + text.size())
        return key.Default;
    return static_cast<TColor>(v);
}

TFormColorKeys::TFormColorKeys(IUi& ui, std::span<const TColorKey> keys) : TForm(ui, "FormColorKeys") {
    SetCaption("Colors");
    SetBounds(0, 0, 360, 120 + 20 * static_cast<int>(keys.size()));
    auto& buttons = Add<TPanel>("PanelButtons");
    buttons.SetAlign(alBottom);
    buttons.SetHeight(36);
    ButtonCancel = &buttons.Add<TButton>("ButtonCancel");
    ButtonCancel->SetCaption("Cancel");
    ButtonCancel->SetAlign(alRight);
    ButtonCancel->SetWidth(90);
    ButtonCancel->SetModalResult(mrCancel);
    ButtonCancel->SetCancel(true);
    ButtonOK = &buttons.Add<TButton>("ButtonOK");
    ButtonOK->SetCaption("OK");
    ButtonOK->SetAlign(alRight);
    ButtonOK->SetWidth(90);
    ButtonOK->SetModalResult(mrOk);
    ButtonOK->SetDefault(true);
    BtnChange = &buttons.Add<TButton>("BtnChange");
    BtnChange->SetCaption("Change...");
    BtnChange->SetAlign(alLeft);
    BtnChange->SetWidth(90);
    BtnChange->OnClick = Bind(&TFormColorKeys::ChangeClick);
    LBColors = &Add<TListBox>("LBColors");
    LBColors->SetAlign(alClient);
    std::vector<std::string> items;
    for (const TColorKey& key : keys) {
        colors_.push_back(ReadColorKey(key));
        items.emplace_back(key.Caption);
    }
    LBColors->SetItems(items);
    LBColors->SetItemIndex(0);
}

void TFormColorKeys::ChangeClick(TComponent& /*sender*/) {
    const int i = LBColors->ItemIndex();
    if (i < 0 || i >= static_cast<int>(colors_.size()))
        return;
    TColor c = colors_[static_cast<std::size_t>(i)];
    if (Ui().ChooseColor(c))
        colors_[static_cast<std::size_t>(i)] = c;
}

bool EditColorKeys(IUi& ui, std::span<const TColorKey> keys) {
    TFormColorKeys form(ui, keys);
    if (ui.ShowModal(form) != mrOk)
        return false;
    TIniStore store(KorvelLibIniFileName());
    for (std::size_t i = 0; i < keys.size(); ++i)
        store.WriteString(kSection, std::string(keys[i].Key), Hex(form.Colors()[i]));
    return true;
}

} // namespace korvel
