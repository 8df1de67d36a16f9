#include "platform/formula/SpecInterpreter.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/ui/StdCtrls.h"

#include <algorithm>

namespace korvel::formula {

namespace {

constexpr std::string_view kLevelOutput = "Lw";
constexpr std::string_view kBandOutput = "Lwf";
constexpr std::string_view kFrequencyVar = "f";
constexpr std::string_view kBandVar = "band";

std::string Quoted(std::string_view s) {
    return "\"" + std::string(s) + "\"";
}

// Declares the element's lists; the required output is added when the user removed it from the list.
void DeclareElementVars(TInterpreter& ip, const acoustic::TEmisLibSpectrum& element,
                        std::string_view output) {
    auto misplaced = [&](const TVarList& list, std::string_view kind) {
        if (const TVariable* v = list.Find(output)) {
            throw EKorvelError(Quoted(v->Name) + " must be an output variable, not " + std::string(kind));
        }
    };
    misplaced(element.VarsIn, "an input");
    misplaced(element.VarsLocal, "a local variable");
    ip.Declare(element.VarsIn, TVarKind::Input);
    ip.Declare(element.VarsOut, TVarKind::Output);
    ip.Declare(element.VarsLocal, TVarKind::Local);
    if (!ip.Has(output)) {
        ip.Declare(output, TVarKind::Output, 0, TResType::Level);
    }
}

// Outputs the formula assigned get their values; "valueOf" overrides one of them (Lwf: the weighted sum).
void StoreOutputs(TVarList& outputs, const TInterpreter& ip, std::string_view name, double value) {
    for (auto& v : outputs.Items) {
        if (ip.Assigned(v.Name)) {
            v.Value = ip.Value(v.Name);
        }
    }
    if (TVariable* v = outputs.Find(name)) {
        v->Value = value;
    }
}

} // namespace

void TSpecInterpreter::InitMsgCompos(int messageType, TMemo* memo, TLabel* label) {
    msgType_ = messageType;
    memo_ = memo;
    label_ = label;
    memoLife_ = memo ? memo->Lifetime() : std::weak_ptr<TComponent*>();
    labelLife_ = label ? label->Lifetime() : std::weak_ptr<TComponent*>();
}

bool TSpecInterpreter::Fail(TFormulaError error) {
    error_ = std::move(error);
    if (msgType_ >= kMsgLabel && label_ && !labelLife_.expired()) {
        label_->SetCaption(error_.Message);
    }
    // kMsgLabelAndMemo: the memo model has no caret or selection to move yet; error_ keeps the place
    // (Offset, Length) for the editor to use.
    return false;
}

void TSpecInterpreter::Succeed() {
    error_ = {};
    if (msgType_ >= kMsgLabel && label_ && !labelLife_.expired()) {
        label_->SetCaption({});
    }
}

bool TSpecInterpreter::CalcEmisSpecSum(acoustic::TEmisLibSpectrum& element,
                                       acoustic::TEmisLibSpectrum& result) {
    TInterpreter ip;
    try {
        DeclareElementVars(ip, element, kLevelOutput);
    } catch (const EKorvelError& e) {
        return Fail(TInterpreter::ErrorWithoutPlace(e.what()));
    }
    if (!ip.Compile(element.FormulaText) || !ip.Run()) {
        return Fail(ip.Error());
    }
    if (!ip.Assigned(kLevelOutput)) {
        return Fail(TInterpreter::ErrorWithoutPlace("The formula does not assign the output " +
                                                    Quoted(kLevelOutput) + ", for example: Lw = 80"));
    }
    const double lw = ip.Value(kLevelOutput);

    acoustic::TEmisLibSpectrum out = element;
    if (out.SpecType() == acoustic::TSpecType::SingleValue) {
        out.SetSingleValue(lw);
    } else {
        auto bands = out.Bands();
        bool empty =
            std::all_of(bands.begin(), bands.end(), [&](int b) { return IsEmptyBandLevel(out.GetValue(b)); });
        if (empty) {
            // Nothing to keep the shape of: a spectrum flat as shown.
            for (int b : bands) {
                out.SetdBXValue(b, 0);
            }
        }
        out.SetdBXValueSum(lw);
    }
    StoreOutputs(out.VarsOut, ip, kLevelOutput, lw);
    StoreOutputs(element.VarsOut, ip, kLevelOutput, lw);
    result = std::move(out);
    Succeed();
    return true;
}

bool TSpecInterpreter::CalcEmisSpec(acoustic::TEmisLibSpectrum& element, acoustic::TEmisLibSpectrum& result) {
    TInterpreter ip;
    try {
        for (auto name : {kFrequencyVar, kBandVar}) {
            for (const TVarList* list : {&element.VarsIn, &element.VarsOut, &element.VarsLocal}) {
                if (const TVariable* v = list->Find(name)) {
                    throw EKorvelError(
                        "The name " + Quoted(v->Name) +
                        " is reserved for a per-band formula (f: frequency, band: band number)");
                }
            }
        }
        ip.Declare(kFrequencyVar, TVarKind::Input, 0, TResType::Frequency);
        ip.Declare(kBandVar, TVarKind::Input, 0, TResType::Integer);
        DeclareElementVars(ip, element, kBandOutput);
    } catch (const EKorvelError& e) {
        return Fail(TInterpreter::ErrorWithoutPlace(e.what()));
    }
    if (!ip.Compile(element.FormulaText)) {
        return Fail(ip.Error());
    }
    const auto bands = element.Bands();
    if (bands.empty()) {
        return Fail(TInterpreter::ErrorWithoutPlace("A single value has no bands for " + Quoted(kBandOutput) +
                                                    "; choose a 1/3 or 1/1 octave spectrum"));
    }

    acoustic::TEmisLibSpectrum out = element;
    for (int b : bands) {
        const auto band = static_cast<std::size_t>(b);
        ip.SetValue(kFrequencyVar, ThirdOctaves[band]);
        ip.SetValue(kBandVar, b);
        for (const auto& v : element.VarsLocal.Items) {
            ip.SetValue(v.Name, band < v.BandValues.size() ? v.BandValues[band] : v.Value);
        }
        if (!ip.Run()) {
            TFormulaError e = ip.Error();
            e.Message += " (band " + std::string(ThirdOctavesStrShort[band]) + " Hz)";
            return Fail(std::move(e));
        }
        if (!ip.Assigned(kBandOutput)) {
            return Fail(TInterpreter::ErrorWithoutPlace("The formula does not assign the output " +
                                                        Quoted(kBandOutput) +
                                                        ", for example: Lwf = 80 - f / 1000"));
        }
        out.SetdBXValue(b, ip.Value(kBandOutput));
    }
    const double sum = out.GetdBXValueSum();
    StoreOutputs(out.VarsOut, ip, kBandOutput, sum);
    StoreOutputs(element.VarsOut, ip, kBandOutput, sum);
    result = std::move(out);
    Succeed();
    return true;
}

} // namespace korvel::formula
