#include "sound/SpectrumColors.h"

#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/ui/Ui.h"

#include <cstdio>
#include <cstdlib>

namespace korvel::sound {

namespace {

constexpr const char* kSection = "Colors";

std::string Hex(TColor c) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%06X", static_cast<unsigned>(c & 0xFFFFFF));
    return buf;
}

} // namespace

TColor ReadSpectrumColor(int index) {
    const auto& key = SpectrumColorKeys[static_cast<std::size_t>(index)];
    const std::string text = TIniStore(KorvelLibIniFileName()).ReadString(kSection, key.Key, "");
    char* end = nullptr;
    const unsigned long v = std::strtoul(text.c_str(), &end, 16);
    if (text.size() != 6 || end != text.c_str() + text.size())
        return key.Default;
    return static_cast<TColor>(v);
}

TFormSpectrumColors::TFormSpectrumColors(IUi& ui) : TForm(ui, "FormSpectrumColors") {
    SetCaption("Colors");
    SetBounds(0, 0, 320, 200);
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
    BtnChange->OnClick = Bind(&TFormSpectrumColors::ChangeClick);
    LBColors = &Add<TListBox>("LBColors");
    LBColors->SetAlign(alClient);
    std::vector<std::string> items;
    for (int i = 0; i < 2; ++i) {
        colors_[static_cast<std::size_t>(i)] = ReadSpectrumColor(i);
        items.emplace_back(SpectrumColorKeys[static_cast<std::size_t>(i)].Caption);
    }
    LBColors->SetItems(items);
    LBColors->SetItemIndex(0);
}

void TFormSpectrumColors::ChangeClick(TComponent& /*sender*/) {
    const int i = LBColors->ItemIndex();
    if (i < 0 || i > 1)
        return;
    TColor c = colors_[static_cast<std::size_t>(i)];
    if (Ui().ChooseColor(c))
        colors_[static_cast<std::size_t>(i)] = c;
}

bool EditSpectrumColors(IUi& ui) {
    TFormSpectrumColors form(ui);
    if (ui.ShowModal(form) != mrOk)
        return false;
    TIniStore store(KorvelLibIniFileName());
    for (int i = 0; i < 2; ++i)
        store.WriteString(kSection, SpectrumColorKeys[static_cast<std::size_t>(i)].Key,
                          Hex(form.Colors()[static_cast<std::size_t>(i)]));
    return true;
}

} // namespace korvel::sound
