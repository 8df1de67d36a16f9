#include "platform/db/FilterExpression.h"

#include "platform/db/Collation.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Schema.h"
#include "platform/db/Sqlite.h"
#include "platform/text/CaseFold.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <optional>

namespace korvel::db {

namespace {

enum class TokKind { End, LParen, RParen, Op, Field, Word, String, Number };

struct Token {
    TokKind Kind = TokKind::End;
    std::string Text;
    size_t Pos = 0;
};

class Lexer {
public:
    explicit Lexer(const std::string& text) : text_(text) {}

    Token Next() {
        while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) {
            ++pos_;
        }
        Token t;
        t.Pos = pos_;
        if (pos_ >= text_.size()) {
            return t;
        }
        char c = text_[pos_];
        if (c == '(' || c == ')') {
            t.Kind = c == '(' ? TokKind::LParen : TokKind::RParen;
            t.Text = std::string(1, c);
            ++pos_;
        } else if (c == '[') {
            size_t close = text_.find(']', pos_);
            if (close == std::string::npos) {
                Fail("missing ']'", pos_);
            }
            t.Kind = TokKind::Field;
            t.Text = text_.substr(pos_ + 1, close - pos_ - 1);
            pos_ = close + 1;
        } else if (c == '\'' || c == '"') {
            t.Kind = TokKind::String;
            ++pos_;
            for (;;) {
                if (pos_ >= text_.size()) {
                    Fail("unterminated string", t.Pos);
                }
                if (text_[pos_] == c) {
                    if (pos_ + 1 < text_.size() && text_[pos_ + 1] == c) {
                        t.Text += c;
                        pos_ += 2;
                        continue;
                    }
                    ++pos_;
                    break;
                }
                t.Text += text_[pos_++];
            }
        } else if (std::isdigit(static_cast<unsigned char>(c)) ||
                   (c == '.' && pos_ + 1 < text_.size() &&
                    std::isdigit(static_cast<unsigned char>(text_[pos_ + 1])))) {
            t.Kind = TokKind::Number;
            size_t start = pos_;
            while (pos_ < text_.size() &&
                   (std::isdigit(static_cast<unsigned char>(text_[pos_])) || text_[pos_] == '.')) {
                ++pos_;
            }
            if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
                ++pos_;
                if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-')) {
                    ++pos_;
                }
                while (pos_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[pos_]))) {
                    ++pos_;
                }
            }
            t.Text = text_.substr(start, pos_ - start);
        } else if (c == '=' || c == '<' || c == '>' || c == '!' || c == '-') {
            t.Kind = TokKind::Op;
            t.Text = std::string(1, c);
            ++pos_;
            if (pos_ < text_.size() && c != '-' && (text_[pos_] == '=' || (c == '<' && text_[pos_] == '>'))) {
                t.Text += text_[pos_++];
            }
            if (t.Text == "!") {
                Fail("unknown operator '!'", t.Pos);
            }
        } else if (std::isalpha(static_cast<unsigned char>(c)) || c == '_' ||
                   static_cast<unsigned char>(c) >= 0x80) {
            t.Kind = TokKind::Word;
            size_t start = pos_;
            while (pos_ < text_.size() &&
                   (std::isalnum(static_cast<unsigned char>(text_[pos_])) || text_[pos_] == '_' ||
                    static_cast<unsigned char>(text_[pos_]) >= 0x80)) {
                ++pos_;
            }
            t.Text = text_.substr(start, pos_ - start);
        } else {
            Fail(std::string("unexpected character '") + c + "'", pos_);
        }
        return t;
    }

    [[noreturn]] void Fail(const std::string& what, size_t pos) const {
        throw EDatabaseError("Filter \"" + text_ + "\": " + what + " at position " + std::to_string(pos + 1));
    }

private:
    const std::string& text_;
    size_t pos_ = 0;
};

// One side of a comparison before translation.
struct Operand {
    enum Kind { FieldRef, Literal } K = Literal;
    const TFieldDef* Field = nullptr;
    TValue Value;
};

class Parser {
public:
    Parser(const std::string& text, const TTableDef& def, const TFilterCompileOptions& options)
        : lex_(text), def_(def), options_(options) {
        Advance();
    }

    TCompiledFilter Parse() {
        std::string sql = ParseOr();
        if (tok_.Kind != TokKind::End) {
            lex_.Fail("unexpected '" + tok_.Text + "'", tok_.Pos);
        }
        return TCompiledFilter{"(" + sql + ")", std::move(params_)};
    }

private:
    void Advance() { tok_ = lex_.Next(); }

    bool IsWord(const char* word) const { return tok_.Kind == TokKind::Word && SameName(tok_.Text, word); }

    std::string ParseOr() {
        std::string left = ParseAnd();
        while (IsWord("OR")) {
            Advance();
            left = "(" + left + " OR " + ParseAnd() + ")";
        }
        return left;
    }

    std::string ParseAnd() {
        std::string left = ParseNot();
        while (IsWord("AND")) {
            Advance();
            left = "(" + left + " AND " + ParseNot() + ")";
        }
        return left;
    }

    std::string ParseNot() {
        if (IsWord("NOT")) {
            Advance();
            return "(NOT " + ParseNot() + ")";
        }
        return ParsePrimary();
    }

    std::string ParsePrimary() {
        if (tok_.Kind == TokKind::LParen) {
            size_t pos = tok_.Pos;
            Advance();
            std::string inner = ParseOr();
            if (tok_.Kind != TokKind::RParen) {
                lex_.Fail("missing ')' for '(' at position " + std::to_string(pos + 1), tok_.Pos);
            }
            Advance();
            return inner;
        }
        return ParseComparison();
    }

    Operand ParseOperand() {
        Operand op;
        if (tok_.Kind == TokKind::Field || (tok_.Kind == TokKind::Word && !IsKeywordLiteral())) {
            op.K = Operand::FieldRef;
            op.Field = def_.FindField(tok_.Text);
            if (!op.Field) {
                lex_.Fail("unknown field \"" + tok_.Text + "\"", tok_.Pos);
            }
        } else if (tok_.Kind == TokKind::String) {
            op.Value = tok_.Text;
        } else if (tok_.Kind == TokKind::Number || (tok_.Kind == TokKind::Op && tok_.Text == "-")) {
            bool negative = tok_.Kind == TokKind::Op;
            if (negative) {
                Advance();
                if (tok_.Kind != TokKind::Number) {
                    lex_.Fail("a number must follow '-'", tok_.Pos);
                }
            }
            op.Value = ParseNumber(tok_.Text, negative);
        } else if (IsWord("TRUE") || IsWord("FALSE")) {
            op.Value = std::int64_t{IsWord("TRUE") ? 1 : 0};
        } else if (IsWord("NULL")) {
            op.Value = std::monostate{};
        } else {
            lex_.Fail(tok_.Kind == TokKind::End ? "unexpected end" : "unexpected '" + tok_.Text + "'",
                      tok_.Pos);
        }
        Advance();
        return op;
    }

    bool IsKeywordLiteral() const {
        return IsWord("TRUE") || IsWord("FALSE") || IsWord("NULL") || IsWord("AND") || IsWord("OR") ||
               IsWord("NOT") || IsWord("IS");
    }

    TValue ParseNumber(const std::string& text, bool negative) {
        std::string t = negative ? "-" + text : text;
        if (t.find_first_of(".eE") == std::string::npos) {
            std::int64_t v = 0;
            auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
            if (ec == std::errc() && ptr == t.data() + t.size()) {
                return v;
            }
        }
        double d = 0;
        auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), d);
        if (ec != std::errc() || ptr != t.data() + t.size()) {
            lex_.Fail("bad number '" + t + "'", tok_.Pos);
        }
        return d;
    }

    std::string ParseComparison() {
        size_t pos = tok_.Pos;
        Operand left = ParseOperand();
        if (IsWord("IS")) {
            Advance();
            bool negate = false;
            if (IsWord("NOT")) {
                negate = true;
                Advance();
            }
            if (!IsWord("NULL")) {
                lex_.Fail("NULL expected after IS", tok_.Pos);
            }
            Advance();
            return "(" + Render(left, nullptr, false) + (negate ? " IS NOT NULL)" : " IS NULL)");
        }
        if (tok_.Kind != TokKind::Op || tok_.Text == "-") {
            lex_.Fail("comparison operator expected", tok_.Pos);
        }
        std::string op = tok_.Text == "!=" ? "<>" : tok_.Text;
        Advance();
        Operand right = ParseOperand();
        if (left.K == Operand::Literal && right.K == Operand::FieldRef) {
            std::swap(left, right);
            op = Mirror(op);
        }
        if (left.K == Operand::Literal && right.K == Operand::Literal) {
            lex_.Fail("a comparison needs a field", pos);
        }
        if (right.K == Operand::Literal && IsNull(right.Value)) {
            if (op != "=" && op != "<>") {
                lex_.Fail("NULL compares only with = or <>", pos);
            }
            return "(" + Render(left, nullptr, false) + (op == "=" ? " IS NULL)" : " IS NOT NULL)");
        }
        const TFieldDef* field = left.Field;
        bool textual = IsTextType(field->DataType) ||
                       (right.K == Operand::FieldRef && IsTextType(right.Field->DataType));
        bool fold = options_.CaseInsensitive && textual;
        if (right.K == Operand::Literal) {
            right.Value = Coerce(right.Value, *field, pos);
            if (auto* s = std::get_if<std::string>(&right.Value); s && textual && options_.PartialCompare &&
                                                                  (op == "=" || op == "<>") && !s->empty() &&
                                                                  s->back() == '*') {
                std::string prefix = s->substr(0, s->size() - 1);
                if (fold) {
                    prefix = FoldCase(prefix);
                }
                params_.push_back(prefix);
                std::string lhs = Render(left, nullptr, fold);
                return "(substr(coalesce(" + lhs + ", ''), 1, " + std::to_string(CodePointCount(prefix)) +
                       ") " + op + " ?)";
            }
        }
        // A number field equal to a number is written as the indexes key it (NULL as a number below all), so
        // SQLite finds the rows through an index on the field instead of reading the whole table. The two
        // forms agree for every value but NULL, which a finite literal never equals.
        if (right.K == Operand::Literal && op == "=" && !textual && field->DataType != TFieldType::AutoInc &&
            !IsTextType(field->DataType) && field->DataType != TFieldType::DateTime &&
            !std::holds_alternative<std::string>(right.Value) &&
            !(std::holds_alternative<double>(right.Value) && !std::isfinite(std::get<double>(right.Value)))) {
            const std::string key = schema::KeyExpression(def_, TIndexDef{"", {field->Name}, 0}, field->Name);
            return "(" + key + " = " + Render(right, field, false) + ")";
        }
        return "(" + Render(left, nullptr, fold) + " " + op + " " + Render(right, field, fold) + ")";
    }

    static std::string Mirror(const std::string& op) {
        if (op == "<") {
            return ">";
        }
        if (op == ">") {
            return "<";
        }
        if (op == "<=") {
            return ">=";
        }
        if (op == ">=") {
            return "<=";
        }
        return op;
    }

    // Brings a literal to the storage class of the field it is compared with, so SQLite compares like with
    // like.
    TValue Coerce(const TValue& v, const TFieldDef& field, size_t pos) {
        if (IsTextType(field.DataType) || field.DataType == TFieldType::DateTime) {
            if (auto* i = std::get_if<std::int64_t>(&v)) {
                return std::to_string(*i);
            }
            if (auto* d = std::get_if<double>(&v)) {
                char buf[32];
                auto res = std::to_chars(buf, buf + sizeof buf, *d);
                return std::string(buf, res.ptr);
            }
            return v;
        }
        if (IsBlobType(field.DataType)) {
            lex_.Fail("the field \"" + field.Name + "\" cannot be compared", pos);
        }
        if (auto* s = std::get_if<std::string>(&v)) {
            std::string t = *s;
            bool negative = !t.empty() && t.front() == '-';
            return ParseNumber(negative ? t.substr(1) : t, negative);
        }
        return v;
    }

    std::string Render(const Operand& op, const TFieldDef* against, bool fold) {
        (void)against;
        if (op.K == Operand::FieldRef) {
            std::string col = QuoteIdent(op.Field->Name);
            return fold ? "korvel_fold(" + col + ")" : col;
        }
        TValue v = op.Value;
        if (fold) {
            if (auto* s = std::get_if<std::string>(&v)) {
                v = FoldCase(*s);
            }
        }
        params_.push_back(std::move(v));
        return "?";
    }

    Lexer lex_;
    const TTableDef& def_;
    const TFilterCompileOptions& options_;
    Token tok_;
    std::vector<TValue> params_;
};

} // namespace

TCompiledFilter CompileFilter(const std::string& text, const TTableDef& def,
                              const TFilterCompileOptions& options) {
    Parser parser(text, def, options);
    return parser.Parse();
}

} // namespace korvel::db
