#include "calculators/FormLpToLw.h"

#include "platform/acoustic/LibSpectrum.h"
#include "platform/settings/IniStore.h"
#include "platform/ui/DialogButtons.h"
#include "platform/ui/Ui.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace korvel::calculators {

namespace {

constexpr const char* kSurfTexts[] = {"Full sphere: point source radiating in full space",
                                      "Half sphere: point source radiating in half space (on ground)",
                                      "Box shaped machine radiating in full space",
                                      "Box shaped machine radiating in half space (on ground)"};
constexpr const char* kCrLf = "\r\n";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// One decimal with a point, whatever the locale the desktop program runs in.
std::string Fixed1(double value) {
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 1);
    return ec == std::errc() ? std::string(buffer, end) : std::string("?");
}

// A row of the dialog: a caption and a narrow edit. Rows are docked to the top so hidden ones take no space.
TEdit& AddNumberRow(TControl& parent, const std::string& name, const std::string& caption, TLabel** label) {
    auto& row = parent.Add<TPanel>("Panel" + name);
    row.SetAlign(alTop);
    row.SetHeight(30);
    auto& text = row.Add<TLabel>("Label" + name);
    text.SetCaption(caption);
    text.SetBounds(16, 6, 220, 17);
    auto& edit = row.Add<TEdit>(name);
    edit.SetBounds(244, 2, 90, 23);
    if (label != nullptr)
        *label = &text;
    return edit;
}

std::string ReadLength(const TEdit& edit, const char* what, bool positive, double& value) {
    if (!ParseSettingFloat(edit.Text(), value))
        return "\"" + edit.Text() + "\" is not a number. Enter the " + what + " in m.";
    if (positive ? !(value > 0) : !(value >= 0))
        return std::string("The ") + what +
               (positive ? " must be greater than 0 m." : " must not be negative.");
    return {};
}

} // namespace

double MeasurementSurfaceArea(int surfType, double d, double w, double l, double h) {
    switch (surfType) {
    case stFullSphere:
        return 12.566370614359172 * d * d;
    case stHalfSphere:
        return 6.283185307179586 * d * d;
    case stBoxFullSpace: {
        const double a = w + 2 * d, b = l + 2 * d, c = h + 2 * d;
        return 2 * (a * b + a * c + b * c);
    }
    case stBoxHalfSpace: {
        // Standing on the ground: no surface below, and the box reaches only d above the machine.
        const double a = w + 2 * d, b = l + 2 * d, c = h + d;
        return a * b + 2 * a * c + 2 * b * c;
    }
    default:
        return kNaN;
    }
}

TFormLpToLw::TFormLpToLw(IUi& ui) : TForm(ui, "FormLpToLw") {
    SetCaption("Convert sound pressure to sound power");
    SetBounds(0, 0, 470, 380);

    RGSurfType = &Add<TRadioGroup>("RGSurfType");
    RGSurfType->SetCaption("Measurement surface");
    RGSurfType->SetAlign(alTop);
    RGSurfType->SetHeight(120);
    RGSurfType->SetItems({std::begin(kSurfTexts), std::end(kSurfTexts)});
    RGSurfType->SetItemIndex(stFullSphere);

    EditD = &AddNumberRow(*this, "EditD", "Measurement distance D [m]", &LabelD);
    EditW = &AddNumberRow(*this, "EditW", "Width W [m]", nullptr);
    EditL = &AddNumberRow(*this, "EditL", "Length L [m]", nullptr);
    EditH = &AddNumberRow(*this, "EditH", "Height H [m]", nullptr);
    EditD->SetText(Fixed1(3.0));
    EditW->SetText(Fixed1(1.0));
    EditL->SetText(Fixed1(1.0));
    EditH->SetText(Fixed1(1.0));

    auto& results = Add<TPanel>("PanelResult");
    results.SetAlign(alTop);
    results.SetHeight(56);
    LabelA = &results.Add<TLabel>("LabelA");
    LabelA->SetBounds(16, 8, 430, 17);
    LabelResult = &results.Add<TLabel>("LabelResult");
    LabelResult->SetBounds(16, 30, 430, 17);

    auto& buttons = Add<TPanel>("PanelButtons");
    buttons.SetAlign(alBottom);
    buttons.SetHeight(44);
    const TDialogButtons dialogButtons = AddOkCancelButtons(buttons, 266, 364, 8, 90, 27);
    ButtonOK = dialogButtons.Ok;
    ButtonCancel = dialogButtons.Cancel;

    RGSurfType->OnClick = Bind(&TFormLpToLw::RGSurfTypeClick);
    for (TEdit* edit : {EditD, EditW, EditL, EditH})
        edit->OnChange = Bind(&TFormLpToLw::EditChange);
    ButtonOK->OnClick = Bind(&TFormLpToLw::ButtonOKClick);
    Recompute();
}

std::string TFormLpToLw::ReadEntries(double& d, double& w, double& l, double& h) const {
    std::string problem = ReadLength(*EditD, "measurement distance D", true, d);
    if (problem.empty() && IsBox()) {
        problem = ReadLength(*EditW, "width W", false, w);
        if (problem.empty())
            problem = ReadLength(*EditL, "length L", false, l);
        if (problem.empty())
            problem = ReadLength(*EditH, "height H", false, h);
    }
    return problem;
}

void TFormLpToLw::Recompute() {
    const bool box = IsBox();
    for (const char* row : {"PanelEditW", "PanelEditL", "PanelEditH"})
        Find<TPanel>(row).SetVisible(box);

    double d = 0, w = 0, l = 0, h = 0;
    const bool usable = ReadEntries(d, w, l, h).empty();
    area_ = usable ? MeasurementSurfaceArea(SurfType(), d, w, l, h) : kNaN;
    deltaL_ = area_ > 0 ? 10.0 * std::log10(area_) : kNaN;
    const bool known = std::isfinite(deltaL_);
    LabelA->SetCaption("A = " + (known ? Fixed1(area_) : std::string("?")) + " [m²]");
    LabelResult->SetCaption("Lw = Lp + 10 log(A) = Lp + " + (known ? Fixed1(deltaL_) : std::string("?")) +
                            " dB");

    if (!known) {
        description_.clear();
        return;
    }
    const std::string machine = box ? std::string("\tMachine size (W*L*H) = ") + Fixed1(w) + "*" + Fixed1(l) +
                                          "*" + Fixed1(h) + " [m*m*m]" + kCrLf
                                    : std::string();
    description_ = std::string("Sound power calculated from sound pressure with following parameters:") +
                   kCrLf + "\t" + kSurfTexts[SurfType()] + kCrLf + "\t" + LabelD->Caption() + " = " +
                   Fixed1(d) + kCrLf + machine + kCrLf + "\t" + LabelResult->Caption();
}

void TFormLpToLw::RGSurfTypeClick(TComponent&) {
    Recompute();
}

void TFormLpToLw::EditChange(TComponent&) {
    Recompute();
}

void TFormLpToLw::ButtonOKClick(TComponent&) {
    double d = 0, w = 0, l = 0, h = 0;
    std::string problem = ReadEntries(d, w, l, h);
    if (problem.empty() && !std::isfinite(deltaL_))
        problem = "The measurement surface is too large to convert the levels.";
    if (problem.empty())
        return;
    Ui().ShowError(problem);
    SetModalResult(mrNone);
}

bool CalculateLwfromLp(IUi& ui, acoustic::TEmisLibSpectrum& spectrum, std::string& comment) {
    const double sum = spectrum.GetValueSum();
    if (IsEmptyBandLevel(sum)) {
        ui.ShowError("The element has no levels to convert.");
        return false;
    }
    TFormLpToLw form(ui);
    if (ui.ShowModal(form) != mrOk)
        return false;
    spectrum.SetValueSum(sum + form.DeltaL());
    spectrum.EmisRef = acoustic::TEmisRef::PerUnit;
    if (!comment.empty() && comment.back() != '\n')
        comment += kCrLf;
    comment += form.Description();
    return true;
}

} // namespace korvel::calculators
