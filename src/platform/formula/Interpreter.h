#pragma once

// The formula language of formula spectra on top of muParser: statements separated by line breaks or ';',
// "name = expression" assignments, "//" comments, read-only inputs and positions of errors in the whole
// text. The language is described for users in docs/formula.md.

#include "platform/formula/VarList.h"

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace mu {
class Parser;
}

namespace korvel::formula {

// An error with its place in the formula text. Line 0 means the error has no place in the text (a bad
// variable list, a missing output); then Column is 0 and Offset -1.
struct TFormulaError {
    std::string Message; // with "line L, column C" when it has a place
    int Line = 0;        // 1-based
    int Column = 0;      // 1-based, in characters (code points)
    int Offset = -1;     // 0-based character offset in the whole text
    int Length = 0;      // characters of the offending part, 0 when unknown

    bool HasPlace() const { return Line > 0; }
};

enum class TVarKind : std::uint8_t { Input, Output, Local, Temporary };

class TInterpreter {
public:
    TInterpreter();
    ~TInterpreter();
    TInterpreter(const TInterpreter&) = delete;
    TInterpreter& operator=(const TInterpreter&) = delete;

    // Declares a variable before Compile. Names are identifiers (letters, digits, '_', not starting with a
    // digit) and ignore ASCII case. Throws EKorvelError for an invalid name, a name declared twice or the
    // name of a function or constant. Integer inputs hold their value rounded. Drops a compiled formula.
    void Declare(std::string_view name, TVarKind kind, double value = 0, TResType type = TResType::Real);
    // Declares every variable of the list as that kind.
    void Declare(const TVarList& list, TVarKind kind);
    bool Has(std::string_view name) const;
    // The value a Run starts from (inputs: the value used). Throws EKorvelError for an unknown name.
    void SetValue(std::string_view name, double value);
    // The current value (after a Run: the value it ended with).
    double Value(std::string_view name) const;
    // Whether the last Run assigned the variable.
    bool Assigned(std::string_view name) const;

    // Splits and parses the text; false with Error() set when it does not parse. Replaces any earlier
    // formula and forgets its temporaries.
    bool Compile(std::string_view text);
    // Evaluates the compiled statements in order, starting from the values set with SetValue. False with
    // Error() set when a statement fails (its result is not a finite number).
    bool Run();
    bool Evaluate(std::string_view text) { return Compile(text) && Run(); }
    // Value of the last statement of the last Run.
    double LastResult() const { return lastResult_; }

    const TFormulaError& Error() const { return error_; }
    // An error at a character of the compiled text, with "line L, column C" in its message.
    TFormulaError ErrorAt(std::size_t byteOffset, std::size_t byteLength, const std::string& what) const;
    // An error without a place in the text.
    static TFormulaError ErrorWithoutPlace(const std::string& what);

    // Extra functions beyond muParser's own: energetic sum and mean of levels.
    static double DbSum(const double* levels, int count);
    static double DbAvg(const double* levels, int count);

private:
    struct TSlot {
        std::string Name;
        TVarKind Kind;
        TResType Type;
        double Initial;
        double Current;
        bool Assigned = false;
    };
    struct TStatement;

    TSlot* FindSlot(std::string_view name);
    const TSlot* FindSlot(std::string_view name) const;
    TSlot& AddSlot(std::string_view name, TVarKind kind, double value, TResType type);
    // Canonical spelling of a function or constant, empty when there is none.
    std::string FindFunction(std::string_view name) const;
    std::string FindConstant(std::string_view name) const;
    bool CompileStatement(std::size_t begin, std::size_t end);
    void ClearFormula();

    std::unique_ptr<mu::Parser> prototype_; // knows the functions and constants
    std::deque<TSlot> slots_;               // stable addresses: parsers hold pointers to Current
    std::vector<std::unique_ptr<TStatement>> statements_;
    std::string text_;
    TFormulaError error_;
    bool compiled_ = false;
    double lastResult_ = 0;
};

} // namespace korvel::formula
