#pragma once

// Calculates formula-defined emission elements: one level "Lw" (entry type 1) or a level per band "Lwf"
// (entry type 2), and shows errors in the editor's controls.

#include "platform/formula/Interpreter.h"

#include <memory>

namespace korvel {
class TComponent;
class TMemo;
class TLabel;
} // namespace korvel

namespace korvel::acoustic {
class TEmisLibSpectrum;
}

namespace korvel::formula {

// Where InitMsgCompos sends messages.
inline constexpr int kMsgNone = 0;         // nowhere; read LastError()
inline constexpr int kMsgLabel = 1;        // the label's caption
inline constexpr int kMsgLabelAndMemo = 2; // the label, and the memo's caret at the error once memos have one

class TSpecInterpreter {
public:
    // The controls may be null, and may be destroyed before this object: they are then left alone.
    void InitMsgCompos(int messageType, TMemo* memo, TLabel* label);

    // Entry type 1: evaluates the formula once and makes result a copy of the element whose weighted sum is
    // "Lw". Entry type 2: evaluates it for every band of the element with "f" (nominal centre frequency in
    // Hz) and "band" (band number) and sets each band's weighted level to "Lwf". On success the element's
    // (and the result's) output variables hold the values (Lwf: the weighted sum) and the label is cleared.
    // On failure: false, the message goes to the label, element and result stay as they were.
    bool CalcEmisSpecSum(acoustic::TEmisLibSpectrum& element, acoustic::TEmisLibSpectrum& result);
    bool CalcEmisSpec(acoustic::TEmisLibSpectrum& element, acoustic::TEmisLibSpectrum& result);

    const TFormulaError& LastError() const { return error_; }

private:
    bool Fail(TFormulaError error);
    void Succeed();

    int msgType_ = kMsgNone;
    TMemo* memo_ = nullptr;
    TLabel* label_ = nullptr;
    std::weak_ptr<TComponent*> memoLife_, labelLife_;
    TFormulaError error_;
};

} // namespace korvel::formula
