#include "platform/formula/Interpreter.h"

#include "platform/Errors.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <tuple>

namespace korvel::formula {
namespace {

// Inputs P (real) and n (integer), output Lw, local K.
class InterpreterTest : public ::testing::Test {
protected:
    void SetUp() override {
        ip.Declare("P", TVarKind::Input, 100);
        ip.Declare("n", TVarKind::Input, 1499.5, TResType::Integer);
        ip.Declare("Lw", TVarKind::Output, 0, TResType::Level);
        ip.Declare("K", TVarKind::Local, -3, TResType::Level);
    }
    // Runs the text and returns the error; fails the test when it ran.
    TFormulaError ErrorOf(std::string_view text) {
        EXPECT_FALSE(ip.Evaluate(text)) << text;
        return ip.Error();
    }
    TInterpreter ip;
};

TEST_F(InterpreterTest, RunsStatementsSeparatedByLinesAndSemicolonsWithComments) {
    ASSERT_TRUE(ip.Evaluate("// fan\n"
                            "base = 10 * lg(P)   // a temporary\r\n"
                            "Lw = base + 50; Lw = Lw + K ; ;\n"
                            "\n"
                            "   Lw * 2  // a bare expression is the last result"))
        << ip.Error().Message;
    EXPECT_DOUBLE_EQ(ip.Value("base"), 20);
    EXPECT_DOUBLE_EQ(ip.Value("Lw"), 67);
    EXPECT_TRUE(ip.Assigned("Lw"));
    EXPECT_FALSE(ip.Assigned("K"));
    EXPECT_DOUBLE_EQ(ip.LastResult(), 134);

    // A run starts again from the set values, not from the last run's results.
    ASSERT_TRUE(ip.Evaluate("K = K - 1; Lw = K"));
    ASSERT_TRUE(ip.Run());
    EXPECT_DOUBLE_EQ(ip.Value("Lw"), -4);
    ip.SetValue("K", 10);
    ASSERT_TRUE(ip.Run());
    EXPECT_DOUBLE_EQ(ip.Value("Lw"), 9);
    // A new formula forgets the old temporaries.
    EXPECT_FALSE(ip.Evaluate("Lw = base"));
}

TEST_F(InterpreterTest, FunctionsNamesIgnoringCaseAndConditionals) {
    ASSERT_TRUE(ip.Evaluate("lw = LG(p) + SQRT(16) + Max(1, 2) + _PI * 0")) << ip.Error().Message;
    EXPECT_DOUBLE_EQ(ip.Value("Lw"), 8);
    EXPECT_TRUE(ip.Assigned("LW"));

    auto eval = [&](std::string_view text) {
        EXPECT_TRUE(ip.Evaluate(text)) << text << ": " << ip.Error().Message;
        return ip.LastResult();
    };
    EXPECT_NEAR(eval("dbsum(80, 80)"), 83.0103, 1e-4);
    EXPECT_NEAR(eval("dbsum(90, 80, 70)"), 90.4532, 1e-4);
    EXPECT_NEAR(eval("dbavg(80, 80, 80)"), 80, 1e-12);
    EXPECT_NEAR(eval("dbavg(90, 80)"), 87.4036, 1e-4);
    // Far outside the range of 10^(x/10) in doubles, still exact.
    EXPECT_NEAR(eval("dbsum(5000, 5000)"), 5003.0103, 1e-4);
    EXPECT_NEAR(eval("dbsum(-5000, -5000)"), -4996.9897, 1e-4);
    EXPECT_DOUBLE_EQ(eval("P > 50 ? 1 : 2"), 1);
    EXPECT_DOUBLE_EQ(eval("P == 100 && n >= 1500"), 1);
}

TEST_F(InterpreterTest, IntegersAreRounded) {
    EXPECT_DOUBLE_EQ(ip.Value("n"), 1500);
    ip.SetValue("n", 2.4);
    EXPECT_DOUBLE_EQ(ip.Value("n"), 2);
    ip.SetValue("n", -2.5);
    EXPECT_DOUBLE_EQ(ip.Value("n"), -3);
    ip.SetValue("P", 2.4); // real inputs stay as they are
    EXPECT_DOUBLE_EQ(ip.Value("P"), 2.4);

    // An integer output is rounded as well.
    TInterpreter counts;
    counts.Declare("z", TVarKind::Output, 0, TResType::Integer);
    ASSERT_TRUE(counts.Evaluate("z = 7 / 2"));
    EXPECT_DOUBLE_EQ(counts.Value("z"), 4);
}

TEST_F(InterpreterTest, ErrorsGiveLineColumnAndCharacterOffsetAndInputsAreReadOnly) {
    struct Case {
        std::string text;
        int line, column, offset;
        std::string fragment;
    };
    const std::vector<Case> cases = {
        {"Lw = 1\nx = foo + 2", 2, 5, 11, "Unknown variable \"foo\""},
        {"Lw = bar(2)", 1, 6, 5, "Unknown function \"bar\""},
        {"Lw = sin", 1, 6, 5, "needs its arguments"},
        // Characters, not bytes: "ü" and "ä" are two bytes each.
        {"// ü comment\nLw = ä", 2, 6, 18, "\"ä\" (U+00E4) can only be used in comments"},
        {"a = 1\r\nLw = b", 2, 6, 12, "Unknown variable \"b\""},
        {"a = 1\rLw = b", 2, 6, 11, "Unknown variable \"b\""},
        {"Lw = 1 +", 1, 9, 8, "incomplete"},
        {"Lw = (1 + 2", 1, 12, 11, "parenthesis"},
        {"Lw = 2 3", 1, 8, 7, "operator is missing"},
        {"Lw = 1, 2", 1, 7, 6, "one expression"},
        {"Lw = max(1,)", 1, 12, 11, ""},
        {"Lw = P ? 1", 1, 6, 5, "':'"},
        {"Lw = \"x\"", 1, 6, 5, "quotes"},
        {"Lw =  ", 1, 4, 3, "missing after '='"},
        {"t = t + 1", 1, 5, 4, "used before it has been given a value"},
        {"Sin = 1", 1, 1, 0, "cannot be assigned"},
        {"Lw = lg(0)", 1, 6, 5, "not a finite number"},
        {"a = 1\nLw = sqrt(a - 2)", 2, 6, 11, "not a finite number"},
        {"Lw = 1e999", 1, 6, 5, "Unexpected"},
        {"Lw = 1\n  p = 3", 2, 3, 9, "input variable \"P\" is read-only"},
        // muParser's own '=' inside an expression would write the input behind our back.
        {"Lw = (P = 3)", 1, 9, 8, ""},
        {"Lw = P === 3", 1, 10, 9, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        TFormulaError e = ErrorOf(c.text);
        EXPECT_EQ(std::tuple(e.Line, e.Column, e.Offset), std::tuple(c.line, c.column, c.offset))
            << e.Message;
        const std::string where = "line " + std::to_string(c.line) + ", column " + std::to_string(c.column);
        EXPECT_TRUE(e.Message.find(c.fragment) != std::string::npos &&
                    e.Message.find(where) != std::string::npos)
            << e.Message;
        EXPECT_FALSE(ip.Run()) << "a formula that failed to compile must not run";
    }
    EXPECT_DOUBLE_EQ(ip.Value("P"), 100);
    EXPECT_EQ(ErrorOf("Lw = 1\n  p = 3").Length, 1);
}

TEST_F(InterpreterTest, DeclarationsRefuseBadAndDuplicateNames) {
    for (std::string_view bad : {"", "1a", "a b", "größe", "a-b", "lg", "SUM", "_pi", "lw"}) {
        EXPECT_THROW(ip.Declare(bad, TVarKind::Input), EKorvelError) << bad;
    }
    EXPECT_THROW(ip.SetValue("nothing", 1), EKorvelError);
    EXPECT_THROW((void)ip.Value("nothing"), EKorvelError);
    EXPECT_FALSE(ip.Assigned("nothing"));
}

TEST(Interpreter, NeverCrashesOrHangsOnArbitraryText) {
    TInterpreter ip;
    ip.Declare("x", TVarKind::Input, 2);
    ip.Declare("y", TVarKind::Output);
    const std::string alphabet = "xy=+-*/^()?:;,.<>!&|\"#01e9 \t\n\r/lgdbsumax_";
    const std::vector<std::string> extra = {"ü", "\xFF", "\xC3", "€", std::string(1, '\0'), "dbsum(", "//"};
    std::mt19937 rng(12345);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (int i = static_cast<int>(rng() % 40); i > 0; --i)
            text += rng() % 8 == 0 ? extra[rng() % extra.size()]
                                   : std::string(1, alphabet[rng() % alphabet.size()]);
        if (!ip.Evaluate(text)) {
            const TFormulaError& e = ip.Error();
            ASSERT_TRUE(e.Line >= 1 && e.Column >= 1 && e.Offset >= 0 &&
                        e.Offset <= static_cast<int>(text.size()))
                << text << ": line " << e.Line << ", column " << e.Column << ", offset " << e.Offset;
        }
    }
    EXPECT_FALSE(ip.Evaluate("y = " + std::string(20000, '1')));
    EXPECT_NE(ip.Error().Message.find("too long"), std::string::npos) << ip.Error().Message;
    ASSERT_TRUE(ip.Evaluate("y = " + std::string(3000, '(') + "x" + std::string(3000, ')')))
        << ip.Error().Message;
    EXPECT_DOUBLE_EQ(ip.Value("y"), 2);
}

} // namespace
} // namespace korvel::formula
