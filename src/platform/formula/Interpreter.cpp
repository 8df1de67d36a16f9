#include "platform/formula/Interpreter.h"

#include "platform/Errors.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <muParser.h>
#include <span>
#include <unicode/utf8.h>

namespace korvel::formula {

namespace {

// muParser refuses longer names; ours stay well below.
constexpr std::size_t kMaxNameLength = 100;

bool IsIdentStart(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool IsIdentChar(char c) {
    return IsIdentStart(c) || (c >= '0' && c <= '9');
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               auto lower = [](char c) {
                   return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
               };
               return lower(x) == lower(y);
           });
}

bool IsIdentifier(std::string_view name) {
    return !name.empty() && IsIdentStart(name[0]) && std::all_of(name.begin(), name.end(), IsIdentChar);
}

std::string Quoted(std::string_view s) {
    return "\"" + std::string(s) + "\"";
}

double Lg(double x) {
    return std::log10(x);
}

double DbSumFn(const double* levels, int count) {
    return TInterpreter::DbSum(levels, count);
}

double DbAvgFn(const double* levels, int count) {
    return TInterpreter::DbAvg(levels, count);
}

void SetupParser(mu::Parser& parser) {
    parser.DefineFun("lg", Lg);
    parser.DefineFun("dbsum", DbSumFn);
    parser.DefineFun("dbavg", DbAvgFn);
}

// A message of our own for muParser's error codes; its texts carry positions within one statement only.
std::string DescribeParserError(const mu::Parser::exception_type& e) {
    std::string tok = e.GetToken();
    // For an unreadable token muParser hands over the rest of the statement; the first word is enough.
    if (auto cut = tok.find_first_of(" \t"); cut != std::string::npos) {
        tok.resize(cut);
    }
    if (tok.size() > 30) {
        tok = tok.substr(0, 30) + "...";
    }
    switch (e.GetCode()) {
    case mu::ecUNEXPECTED_OPERATOR:
        return "Unexpected operator " + Quoted(tok);
    case mu::ecUNASSIGNABLE_TOKEN:
        return tok.empty() ? "Unexpected text" : "Unexpected " + Quoted(tok);
    case mu::ecUNEXPECTED_EOF:
        return "The expression is incomplete";
    case mu::ecUNEXPECTED_ARG_SEP:
        return "Unexpected ','";
    case mu::ecUNEXPECTED_ARG:
        return "A list of values in parentheses needs a function name before it";
    case mu::ecUNEXPECTED_VAL:
        return "Unexpected value " + Quoted(tok) + " (an operator is missing)";
    case mu::ecUNEXPECTED_VAR:
        return "Unexpected variable " + Quoted(tok) + " (an operator is missing)";
    case mu::ecUNEXPECTED_PARENS:
        return "Unexpected parenthesis";
    case mu::ecMISSING_PARENS:
        return "A closing parenthesis is missing";
    case mu::ecUNEXPECTED_FUN:
        return "Unexpected function " + Quoted(tok) + " (an operator is missing)";
    case mu::ecTOO_MANY_PARAMS:
        return "Too many arguments for " + Quoted(tok);
    case mu::ecTOO_FEW_PARAMS:
        return "Too few arguments for " + Quoted(tok);
    case mu::ecUNEXPECTED_STR:
    case mu::ecSTRING_EXPECTED:
    case mu::ecUNTERMINATED_STRING:
    case mu::ecSTR_RESULT:
    case mu::ecOPRT_TYPE_CONFLICT:
    case mu::ecVAL_EXPECTED:
        return "Text in quotes cannot be used in a formula";
    case mu::ecUNEXPECTED_CONDITIONAL:
        return "Unexpected '?'";
    case mu::ecMISSING_ELSE_CLAUSE:
        return "'?' needs a ':' with the value for the other case";
    case mu::ecMISPLACED_COLON:
        return "':' without a '?' before it";
    case mu::ecIDENTIFIER_TOO_LONG:
        return "The name is too long";
    case mu::ecEXPRESSION_TOO_LONG:
        return "The statement is too long (at most 10000 characters)";
    case mu::ecINVALID_CHARACTERS_FOUND:
        return "Invalid character";
    default:
        return "Syntax error";
    }
}

// "The character "é" (U+00E9)" or, for a broken sequence, "The byte 0xFF (not UTF-8)".
std::string CharacterText(std::string_view text, std::size_t at, std::size_t& length) {
    std::int32_t i = 0;
    UChar32 c = 0;
    auto n = static_cast<std::int32_t>(std::min<std::size_t>(text.size() - at, 4));
    U8_NEXT(reinterpret_cast<const std::uint8_t*>(text.data() + at), i, n, c);
    length = static_cast<std::size_t>(i);
    char buf[32];
    if (c < 0) {
        std::snprintf(buf, sizeof buf, "0x%02X", static_cast<unsigned>(static_cast<std::uint8_t>(text[at])));
        return std::string("The byte ") + buf + " (not UTF-8)";
    }
    std::snprintf(buf, sizeof buf, "U+%04X", static_cast<unsigned>(c));
    return "The character " + Quoted(text.substr(at, length)) + " (" + buf + ")";
}

} // namespace

struct TInterpreter::TStatement {
    std::unique_ptr<mu::Parser> Parser;
    TSlot* Target = nullptr;
    std::size_t ExprBegin = 0; // byte range of the expression in the text
    std::size_t ExprEnd = 0;
};

TInterpreter::TInterpreter() : prototype_(std::make_unique<mu::Parser>()) {
    SetupParser(*prototype_);
}

TInterpreter::~TInterpreter() = default;

double TInterpreter::DbSum(const double* levels, int count) {
    if (count <= 0) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    auto span = std::span(levels, static_cast<std::size_t>(count));
    if (!std::all_of(span.begin(), span.end(), [](double x) { return std::isfinite(x); })) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    // Summing relative to the largest level keeps 10^(x/10) in range for any finite level.
    double top = *std::max_element(span.begin(), span.end());
    double sum = 0;
    for (double x : span) {
        sum += std::pow(10.0, (x - top) / 10.0);
    }
    return top + 10.0 * std::log10(sum);
}

double TInterpreter::DbAvg(const double* levels, int count) {
    return DbSum(levels, count) - 10.0 * std::log10(static_cast<double>(std::max(count, 1)));
}

TInterpreter::TSlot* TInterpreter::FindSlot(std::string_view name) {
    auto it = std::find_if(slots_.begin(), slots_.end(),
                           [&](const TSlot& s) { return EqualsNoCase(s.Name, name); });
    return it == slots_.end() ? nullptr : &*it;
}

const TInterpreter::TSlot* TInterpreter::FindSlot(std::string_view name) const {
    return const_cast<TInterpreter*>(this)->FindSlot(name);
}

std::string TInterpreter::FindFunction(std::string_view name) const {
    for (const auto& [fn, cb] : prototype_->GetFunDef()) {
        if (EqualsNoCase(fn, name)) {
            return fn;
        }
    }
    return {};
}

std::string TInterpreter::FindConstant(std::string_view name) const {
    for (const auto& [c, v] : prototype_->GetConst()) {
        if (EqualsNoCase(c, name)) {
            return c;
        }
    }
    return {};
}

TInterpreter::TSlot& TInterpreter::AddSlot(std::string_view name, TVarKind kind, double value,
                                           TResType type) {
    if (kind == TVarKind::Input && type == TResType::Integer) {
        value = std::round(value);
    }
    slots_.push_back({std::string(name), kind, type, value, value, false});
    return slots_.back();
}

void TInterpreter::Declare(std::string_view name, TVarKind kind, double value, TResType type) {
    if (!IsIdentifier(name) || name.size() > kMaxNameLength) {
        throw EKorvelError(
            "The variable name " + Quoted(name) +
            " is not valid: use letters a-z, digits and '_', not starting with a digit, at most " +
            std::to_string(kMaxNameLength) + " characters");
    }
    if (const TSlot* other = FindSlot(name)) {
        throw EKorvelError("The variable " + Quoted(name) + " is declared twice" +
                           (other->Name != name ? " (as " + Quoted(other->Name) + ")" : std::string()) +
                           "; names ignore letter case");
    }
    if (!FindFunction(name).empty() || !FindConstant(name).empty()) {
        throw EKorvelError("The variable name " + Quoted(name) + " is taken by a function or constant");
    }
    ClearFormula(); // parsers know only the variables that existed when they were made
    AddSlot(name, kind, value, type);
}

void TInterpreter::Declare(const TVarList& list, TVarKind kind) {
    for (const auto& v : list.Items) {
        Declare(v.Name, kind, v.Value, v.ResType);
    }
}

bool TInterpreter::Has(std::string_view name) const {
    return FindSlot(name) != nullptr;
}

void TInterpreter::SetValue(std::string_view name, double value) {
    TSlot* slot = FindSlot(name);
    if (!slot) {
        throw EKorvelError("Unknown variable " + Quoted(name));
    }
    if (slot->Kind == TVarKind::Input && slot->Type == TResType::Integer) {
        value = std::round(value);
    }
    slot->Initial = slot->Current = value;
}

double TInterpreter::Value(std::string_view name) const {
    const TSlot* slot = FindSlot(name);
    if (!slot) {
        throw EKorvelError("Unknown variable " + Quoted(name));
    }
    return slot->Current;
}

bool TInterpreter::Assigned(std::string_view name) const {
    const TSlot* slot = FindSlot(name);
    return slot && slot->Assigned;
}

void TInterpreter::ClearFormula() {
    statements_.clear();
    compiled_ = false;
    std::erase_if(slots_, [](const TSlot& s) { return s.Kind == TVarKind::Temporary; });
}

TFormulaError TInterpreter::ErrorAt(std::size_t byteOffset, std::size_t byteLength,
                                    const std::string& what) const {
    byteOffset = std::min(byteOffset, text_.size());
    byteLength = std::min(byteLength, text_.size() - byteOffset);
    auto isCharStart = [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    };
    TFormulaError e;
    e.Line = 1;
    e.Column = 1;
    e.Offset = 0;
    for (std::size_t i = 0; i < byteOffset; ++i) {
        char c = text_[i];
        if (!isCharStart(c)) {
            continue;
        }
        ++e.Offset;
        // "\r\n" is one break: the '\r' ends the line, the '\n' starts nothing new.
        if (c == '\n' || (c == '\r' && (i + 1 >= text_.size() || text_[i + 1] != '\n'))) {
            ++e.Line;
            e.Column = 1;
        } else if (c != '\r') {
            ++e.Column;
        }
    }
    e.Length = static_cast<int>(
        std::count_if(text_.begin() + static_cast<std::ptrdiff_t>(byteOffset),
                      text_.begin() + static_cast<std::ptrdiff_t>(byteOffset + byteLength), isCharStart));
    e.Message =
        "Error in line " + std::to_string(e.Line) + ", column " + std::to_string(e.Column) + ": " + what;
    return e;
}

TFormulaError TInterpreter::ErrorWithoutPlace(const std::string& what) {
    TFormulaError e;
    e.Message = what;
    return e;
}

bool TInterpreter::Compile(std::string_view text) {
    ClearFormula();
    text_ = std::string(text);
    error_ = {};
    std::size_t start = 0;
    std::size_t i = 0;
    const std::size_t n = text_.size();
    while (i < n) {
        char c = text_[i];
        if (c == '/' && i + 1 < n && text_[i + 1] == '/') {
            if (!CompileStatement(start, i)) {
                return false;
            }
            while (i < n && text_[i] != '\n' && text_[i] != '\r') {
                ++i;
            }
            start = i;
            continue;
        }
        if (c == '\n' || c == '\r' || c == ';') {
            if (!CompileStatement(start, i)) {
                return false;
            }
            start = i + 1;
        }
        ++i;
    }
    if (!CompileStatement(start, n)) {
        return false;
    }
    compiled_ = true;
    return true;
}

bool TInterpreter::CompileStatement(std::size_t begin, std::size_t end) {
    auto fail = [&](std::size_t at, std::size_t len, const std::string& what) {
        error_ = ErrorAt(at, len, what);
        ClearFormula();
        return false;
    };
    while (begin < end && IsBlank(text_[begin])) {
        ++begin;
    }
    while (end > begin && IsBlank(text_[end - 1])) {
        --end;
    }
    if (begin == end) {
        return true;
    }
    // muParser sees ASCII only; other characters belong in comments.
    for (std::size_t i = begin; i < end; ++i) {
        auto c = static_cast<unsigned char>(text_[i]);
        if (c >= 0x80) {
            std::size_t len = 1;
            std::string shown = CharacterText(text_, i, len);
            return fail(i, len, shown + " can only be used in comments");
        }
        if (c < 0x20 && c != '\t') {
            return fail(i, 1, "Invalid control character");
        }
        if (c == '"') {
            return fail(i, 1, "Text in quotes cannot be used in a formula");
        }
    }

    // "name = expression"; a single '=' after a leading name (not '==').
    TSlot* target = nullptr;
    std::string newTemp;
    std::size_t exprBegin = begin;
    if (IsIdentStart(text_[begin])) {
        std::size_t q = begin;
        while (q < end && IsIdentChar(text_[q])) {
            ++q;
        }
        std::size_t r = q;
        while (r < end && IsBlank(text_[r])) {
            ++r;
        }
        if (r < end && text_[r] == '=' && (r + 1 >= end || text_[r + 1] != '=')) {
            std::string_view name(text_.data() + begin, q - begin);
            if (TSlot* slot = FindSlot(name)) {
                if (slot->Kind == TVarKind::Input) {
                    return fail(
                        begin, q - begin,
                        "The input variable " + Quoted(slot->Name) +
                            " is read-only; assign the result to an output, a local variable or a new name");
                }
                target = slot;
            } else if (!FindFunction(name).empty() || !FindConstant(name).empty()) {
                return fail(begin, q - begin,
                            Quoted(name) + " is a function or constant and cannot be assigned");
            } else if (name.size() > kMaxNameLength) {
                return fail(begin, q - begin, "The name is too long");
            } else {
                newTemp = std::string(name);
            }
            exprBegin = r + 1;
            while (exprBegin < end && IsBlank(text_[exprBegin])) {
                ++exprBegin;
            }
            if (exprBegin == end) {
                return fail(r, 1, "An expression is missing after '='");
            }
        }
    }

    // Check names and operators ourselves: exact places, clear messages, and no assignment that muParser
    // would carry out inside an expression. Names are rewritten to their declared spelling (same length).
    std::string expr = text_.substr(exprBegin, end - exprBegin);
    std::replace(expr.begin(), expr.end(), '\t', ' ');
    const std::size_t n = expr.size();
    int depth = 0;
    for (std::size_t i = 0; i < n;) {
        char c = expr[i];
        if (IsDigit(c) || (c == '.' && i + 1 < n && IsDigit(expr[i + 1]))) {
            while (i < n && (IsDigit(expr[i]) || expr[i] == '.')) {
                ++i;
            }
            if (i < n && (expr[i] == 'e' || expr[i] == 'E')) {
                std::size_t k = i + 1;
                if (k < n && (expr[k] == '+' || expr[k] == '-')) {
                    ++k;
                }
                if (k < n && IsDigit(expr[k])) {
                    i = k;
                    while (i < n && IsDigit(expr[i])) {
                        ++i;
                    }
                }
            }
            continue;
        }
        if (IsIdentStart(c)) {
            std::size_t j = i;
            while (j < n && IsIdentChar(expr[j])) {
                ++j;
            }
            std::string_view ident(expr.data() + i, j - i);
            std::size_t k = j;
            while (k < n && expr[k] == ' ') {
                ++k;
            }
            std::string canonical;
            if (k < n && expr[k] == '(') {
                canonical = FindFunction(ident);
                if (canonical.empty()) {
                    if (const TSlot* slot = FindSlot(ident)) {
                        canonical = slot->Name; // muParser reports the misplaced parenthesis
                    } else {
                        return fail(exprBegin + i, j - i, "Unknown function " + Quoted(ident));
                    }
                }
            } else if (const TSlot* slot = FindSlot(ident)) {
                canonical = slot->Name;
            } else if (canonical = FindConstant(ident); canonical.empty()) {
                if (EqualsNoCase(ident, newTemp)) {
                    return fail(exprBegin + i, j - i,
                                "The variable " + Quoted(ident) +
                                    " is used before it has been given a value");
                }
                if (!FindFunction(ident).empty()) {
                    return fail(exprBegin + i, j - i,
                                "The function " + Quoted(ident) + " needs its arguments in parentheses");
                }
                return fail(exprBegin + i, j - i, "Unknown variable " + Quoted(ident));
            }
            expr.replace(i, j - i, canonical);
            i = j;
            continue;
        }
        if (c == '(') {
            ++depth;
        } else if (c == ')') {
            --depth;
        } else if (c == ',' && depth <= 0) {
            return fail(exprBegin + i, 1,
                        "A statement holds one expression; separate statements with ';' or a line break");
        } else if ((c == '<' || c == '>' || c == '!' || c == '=') && i + 1 < n && expr[i + 1] == '=') {
            i += 2;
            continue;
        } else if (c == '=') {
            return fail(exprBegin + i, 1,
                        "'=' assigns only to the name at the start of a statement; compare values with '=='");
        }
        ++i;
    }

    auto statement = std::make_unique<TStatement>();
    statement->Parser = std::make_unique<mu::Parser>();
    statement->ExprBegin = exprBegin;
    statement->ExprEnd = end;
    try {
        mu::Parser& parser = *statement->Parser;
        SetupParser(parser);
        for (auto& slot : slots_) {
            parser.DefineVar(slot.Name, &slot.Current);
        }
        parser.SetExpr(expr);
        parser.Eval(); // muParser parses on the first evaluation
    } catch (const mu::Parser::exception_type& e) {
        int pos = e.GetPos();
        std::size_t at = pos < 0 ? 0 : std::min(static_cast<std::size_t>(pos), n);
        std::size_t len = 0;
        if (at < n && IsIdentStart(expr[at])) {
            while (at + len < n && IsIdentChar(expr[at + len])) {
                ++len;
            }
        } else if (at < n) {
            len = 1;
        }
        return fail(exprBegin + at, len, DescribeParserError(e));
    } catch (const std::exception& e) {
        return fail(exprBegin, n, std::string("The statement cannot be read: ") + e.what());
    }
    if (!newTemp.empty()) {
        target = &AddSlot(newTemp, TVarKind::Temporary, 0, TResType::Real);
    }
    statement->Target = target;
    statements_.push_back(std::move(statement));
    return true;
}

bool TInterpreter::Run() {
    if (!compiled_) {
        if (error_.Message.empty()) {
            error_ = ErrorWithoutPlace("There is no formula to calculate");
        }
        return false;
    }
    error_ = {};
    lastResult_ = 0;
    for (auto& slot : slots_) {
        if (slot.Kind == TVarKind::Input && !std::isfinite(slot.Current)) {
            error_ = ErrorWithoutPlace("The input variable " + Quoted(slot.Name) + " has no valid value");
            return false;
        }
        slot.Current = slot.Initial;
        slot.Assigned = false;
    }
    for (const auto& st : statements_) {
        double v = 0;
        try {
            v = st->Parser->Eval();
        } catch (const mu::Parser::exception_type& e) {
            error_ = ErrorAt(st->ExprBegin, st->ExprEnd - st->ExprBegin, DescribeParserError(e));
            return false;
        } catch (const std::exception& e) {
            error_ = ErrorAt(st->ExprBegin, st->ExprEnd - st->ExprBegin,
                             std::string("The statement cannot be calculated: ") + e.what());
            return false;
        }
        if (!std::isfinite(v)) {
            error_ =
                ErrorAt(st->ExprBegin, st->ExprEnd - st->ExprBegin,
                        "The result is not a finite number (for example the logarithm of 0 or of a negative "
                        "number, the square root of a negative number or a division by 0)");
            return false;
        }
        if (st->Target) {
            if (st->Target->Type == TResType::Integer) {
                v = std::round(v);
            }
            st->Target->Current = v;
            st->Target->Assigned = true;
        }
        lastResult_ = v;
    }
    return true;
}

} // namespace korvel::formula
