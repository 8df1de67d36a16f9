// The formula module: variable lists and their blobs, the interpreter, and formulas run on emission spectra.

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/formula/Interpreter.h"
#include "platform/formula/SpecInterpreter.h"
#include "platform/formula/VarList.h"
#include "platform/ui/StdCtrls.h"

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <tuple>

namespace korvel::formula {
namespace {

TVarList SampleList() {
    TVarList list;
    list.Add({"P", "kW", "Leistung größer Null", 12.5, TVarFlag::Input, TResType::Real, {}});
    list.Add({"K", "dB", "", -3, TVarFlag::Local, TResType::Level, {1.5, -2.25, 0, -199}});
    list.Add({"Lw", "dB(A)/Lw/unit", "Sound power", 0, TVarFlag::Output, TResType::Level, {}});
    list.Add({"cnt", "", "", 4, TVarFlag::User, TResType::Integer, {}});
    return list;
}

TEST(VarList, LooksUpNamesDeletesNamesResultTypesAndOffersPreDefinedVariables) {
    TVarList list = SampleList();
    auto indexes = [&] {
        return std::vector{list.IndexOf("lw"), list.IndexOf("CNT"), list.IndexOf("k"), list.IndexOf("Lw ")};
    };
    EXPECT_EQ(indexes(), (std::vector{2, 3, 1, -1}));
    EXPECT_EQ(std::pair(list.Find("k"), std::as_const(list).Find("nothing")),
              std::pair(&list.Items[1], static_cast<const TVariable*>(nullptr)));

    list.Delete(1);
    EXPECT_THROW(list.Delete(3), EKorvelError);
    EXPECT_THROW(list.Delete(-1), EKorvelError);
    EXPECT_EQ(indexes(), (std::vector{1, 2, -1, -1}));

    // Result types have names when the type box offers them, and Boolean; unknown ones have none.
    for (TResType t : OfferedResTypes)
        EXPECT_FALSE(ResTypeStr(t).empty()) << static_cast<int>(t);
    EXPECT_EQ(ResTypeStr(TResType::Boolean), "Boolean");
    for (int t : {0, 4, 5, 9, 255})
        EXPECT_TRUE(ResTypeStr(static_cast<TResType>(t)).empty()) << t;
}

TEST(VarListBlob, RoundTripsReadsTheDocumentedLayoutAndDamagedBlobsThrowAndKeepTheList) {
    TVarList list = SampleList();
    TVarList back;
    back.FromBlob(list.ToBlob());
    EXPECT_EQ(back, list);

    // Written by hand from the layout in docs/formula.md, so reader and writer cannot drift together.
    TBlobWriter w;
    w.U16(1).U32(1);
    w.U16(1).Bytes(AsBytes("Q")).U16(5).Bytes(AsBytes("m³/h")).U16(0);
    w.F64(2.5).U8(1).U8(2).U16(2).F64(-1).F64(7);
    TVarList hand;
    hand.FromBlob(w.Blob());
    ASSERT_EQ(hand.Count(), 1);
    EXPECT_EQ(hand.Items[0], (TVariable{"Q", "m³/h", "", 2.5, TVarFlag::Input, TResType::Real, {-1, 7}}));
    EXPECT_EQ(TVarList{hand}.ToBlob(), w.Blob());

    TVarList cleared = list;
    cleared.FromBlob({});
    EXPECT_EQ(cleared.Count(), 0);

    // Damaged blobs throw and keep the list.
    const TBlob good = list.ToBlob();
    auto expectRefused = [&](const TBlob& blob, std::string_view fragment, const std::string& what) {
        TVarList target = list;
        EXPECT_THAT([&] { target.FromBlob(blob); },
                    testing::ThrowsMessage<EKorvelError>(testing::HasSubstr(std::string(fragment))))
            << what;
        EXPECT_EQ(target, list) << what;
    };
    // Every cut of a valid blob, except the empty one, is refused.
    for (std::size_t len = 1; len < good.size(); ++len)
        expectRefused(TBlob(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(len)), "damaged",
                      "cut to " + std::to_string(len));
    // The good blob with bytes written over (or past its end) at the offset.
    auto changed = [&](std::size_t at, std::vector<std::uint8_t> bytes) {
        TBlob blob = good;
        blob.resize(std::max(blob.size(), at + bytes.size()));
        std::ranges::copy(bytes, blob.begin() + static_cast<std::ptrdiff_t>(at));
        return blob;
    };
    expectRefused(changed(good.size(), {0}), "unexpected bytes", "one byte too many");
    expectRefused(changed(0, {2}), "version 2", "version");
    expectRefused(changed(2, {0xFF, 0xFF, 0xFF, 0xFF}), "4294967295 variables", "huge count");

    auto oneVar = [](std::string_view name, std::uint8_t flag, std::uint8_t type) {
        TBlobWriter one;
        one.U16(1).U32(1).U16(static_cast<std::uint16_t>(name.size())).Bytes(AsBytes(name)).U16(0).U16(0);
        one.F64(0).U8(flag).U8(type).U16(0);
        return one.Blob();
    };
    expectRefused(oneVar("x", 2, 2), "unknown flag 2", "flag");
    expectRefused(oneVar("x", 1, 4), "unknown result type 4", "result type");
    expectRefused(oneVar("\xC3\x28", 1, 2), "UTF-8", "broken UTF-8");

    const TVarList in = GetPreDefinedVars(TVarFlag::Input, false, "");
    const TVarList local = GetPreDefinedVars(TVarFlag::Local, false, "");
    ASSERT_TRUE(in.Find("n") && in.Find("P") && local.Find("K"));
    EXPECT_EQ(std::tuple(in.Find("n")->ResType, in.Find("P")->Unit, local.Find("K")->Flag),
              std::tuple(TResType::Integer, "kW", TVarFlag::Local));

    // The output is named by the entry type; its unit is the one given, plain dB without.
    const TVarList lw = GetPreDefinedVars(TVarFlag::Output, false, "dB(A)/Lw/unit");
    const TVarList lwf = GetPreDefinedVars(TVarFlag::Output, true, "");
    auto countNameUnitFlag = [](const TVarList& l) {
        return std::tuple(l.Count(), l.Items.at(0).Name, l.Items.at(0).Unit, l.Items.at(0).Flag);
    };
    EXPECT_EQ(countNameUnitFlag(lw), std::tuple(1, "Lw", "dB(A)/Lw/unit", TVarFlag::Output));
    EXPECT_EQ(countNameUnitFlag(lwf), std::tuple(1, "Lwf", "dB", TVarFlag::Output));
    EXPECT_EQ(GetPreDefinedVars(TVarFlag::User, false, "").Count(), 0);

    // All offered names together are usable in one formula: valid, distinct ignoring case, no function names.
    TInterpreter ip;
    EXPECT_NO_THROW(ip.Declare(in, TVarKind::Input));
    EXPECT_NO_THROW(ip.Declare(local, TVarKind::Local));
    EXPECT_NO_THROW(ip.Declare(lw, TVarKind::Output));
}

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

TEST_F(InterpreterTest, RunsStatementsFunctionsNamesIgnoringCaseConditionalsAndRoundedIntegers) {
    ASSERT_TRUE(ip.Evaluate("// fan\n"
                            "base = 10 * lg(P)   // a temporary\r\n"
                            "Lw = base + 50; Lw = Lw + K ; ;\n"
                            "\n"
                            "   Lw * 2  // a bare expression is the last result"))
        << ip.Error().Message;
    EXPECT_EQ(
        std::tuple(ip.Value("base"), ip.Value("Lw"), ip.Assigned("Lw"), ip.Assigned("K"), ip.LastResult()),
        std::tuple(20.0, 67.0, true, false, 134.0));

    // A run starts again from the set values, not from the last run's results.
    ASSERT_TRUE(ip.Evaluate("K = K - 1; Lw = K"));
    EXPECT_TRUE(ip.Run() && ip.Value("Lw") == -4) << ip.Value("Lw");
    ip.SetValue("K", 10);
    EXPECT_TRUE(ip.Run() && ip.Value("Lw") == 9) << ip.Value("Lw");
    // A new formula forgets the old temporaries.
    EXPECT_FALSE(ip.Evaluate("Lw = base"));

    ASSERT_TRUE(ip.Evaluate("lw = LG(p) + SQRT(16) + Max(1, 2) + _PI * 0")) << ip.Error().Message;
    EXPECT_EQ(std::pair(ip.Value("Lw"), ip.Assigned("LW")), std::pair(8.0, true));

    // The +-5000 dB sums lie far outside the range of 10^(x/10) in doubles and must still be exact.
    const std::pair<const char*, double> results[] = {
        {"dbsum(80, 80)", 83.0103}, {"dbsum(90, 80, 70)", 90.4532},   {"dbavg(80, 80, 80)", 80},
        {"dbavg(90, 80)", 87.4036}, {"dbsum(5000, 5000)", 5003.0103}, {"dbsum(-5000, -5000)", -4996.9897},
        {"P > 50 ? 1 : 2", 1},      {"P == 100 && n >= 1500", 1}};
    for (auto [text, expected] : results) {
        EXPECT_TRUE(ip.Evaluate(text)) << text << ": " << ip.Error().Message;
        EXPECT_NEAR(ip.LastResult(), expected, 1e-4) << text;
    }

    // Integer variables are rounded half away from zero whenever set; real ones stay as they are.
    auto set = [&](const char* name, double v) {
        ip.SetValue(name, v);
        return ip.Value(name);
    };
    EXPECT_EQ((std::tuple{ip.Value("n"), set("n", 2.4), set("n", -2.5), set("P", 2.4)}),
              std::tuple(1500.0, 2.0, -3.0, 2.4));

    // An integer output is rounded as well.
    ip.Declare("z", TVarKind::Output, 0, TResType::Integer);
    ASSERT_TRUE(ip.Evaluate("z = 7 / 2"));
    EXPECT_EQ(ip.Value("z"), 4);
}

TEST_F(InterpreterTest, ErrorsGiveLineColumnAndOffsetInputsAreReadOnlyAndBadNamesAreRefused) {
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

    // Declarations refuse bad and duplicate names.
    for (std::string_view bad : {"", "1a", "a b", "größe", "a-b", "lg", "SUM", "_pi", "lw"})
        EXPECT_THROW(ip.Declare(bad, TVarKind::Input), EKorvelError) << bad;
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

using acoustic::TEmisLibSpectrum;
using acoustic::TSpecType;

TEmisLibSpectrum FormulaElement(TSpecType type, std::string formula, bool perBand) {
    TEmisLibSpectrum e;
    e.SetSpecType(type);
    e.EntryType =
        perBand ? acoustic::TEmisEntrytype::FormulaSpectrum : acoustic::TEmisEntrytype::FormulaLevel;
    e.VarsIn.Add({"P", "kW", "", 100, TVarFlag::Input, TResType::Real, {}});
    e.VarsIn.Add({"n", "1/min", "", 1499.6, TVarFlag::Input, TResType::Integer, {}});
    e.VarsOut = GetPreDefinedVars(TVarFlag::Output, perBand, "dB(A)");
    e.VarsLocal.Add({"K", "dB", "", -2, TVarFlag::Local, TResType::Level, {}});
    e.FormulaText = std::move(formula);
    return e;
}

double Output(const TEmisLibSpectrum& e, std::string_view name) {
    return e.VarsOut.Find(name)->Value;
}

class SpecInterpreterTest : public ::testing::Test {
protected:
    void SetUp() override {
        si.InitMsgCompos(kMsgLabelAndMemo, &memo, &label);
        label.SetCaption("old message");
    }
    TMemo memo{"MemoFormula"};
    TLabel label{"LabelMessage"};
    TSpecInterpreter si;
};

TEST_F(SpecInterpreterTest, LevelFormulaSetsTheLevelBandFormulaEachBand) {
    // n is used rounded (1500); locals take their single value for Lw.
    TEmisLibSpectrum e = FormulaElement(TSpecType::SingleValue, "Lw = 10*lg(P) + 50 + K + (n - 1500)", false);
    TEmisLibSpectrum r;
    ASSERT_TRUE(si.CalcEmisSpecSum(e, r)) << si.LastError().Message;
    EXPECT_EQ(std::tuple(r.SingleValue(), r.SpecType(), Output(e, "Lw"), Output(r, "Lw"), r.FormulaText,
                         label.Caption()),
              std::tuple(68.0, TSpecType::SingleValue, 68.0, 68.0, e.FormulaText, ""));

    // A band spectrum is shifted keeping its shape.
    e = FormulaElement(TSpecType::ThirdOctave, "Lw = 85", false);
    e.SetBMinBMax(20, 30);
    for (int b = 20; b <= 30; ++b)
        e.SetdBXValue(b, 50.0 + (b % 4));
    ASSERT_TRUE(si.CalcEmisSpecSum(e, r)) << si.LastError().Message;
    EXPECT_NEAR(r.GetdBXValueSum(), 85, 1e-9);
    const double shift = r.GetdBXValue(20) - e.GetdBXValue(20);
    for (int b = 20; b <= 30; ++b)
        EXPECT_NEAR(r.GetdBXValue(b) - e.GetdBXValue(b), shift, 1e-9) << b;
    EXPECT_EQ(r.dBX(), e.dBX());

    // The element may be its own result.
    e.FormulaText = "Lw = 70";
    ASSERT_TRUE(si.CalcEmisSpecSum(e, e));
    EXPECT_NEAR(e.GetdBXValueSum(), 70, 1e-9);
    EXPECT_NEAR(e.GetdBXValue(21) - e.GetdBXValue(20), r.GetdBXValue(21) - r.GetdBXValue(20), 1e-9);

    // Without any band values the level is spread evenly over the bands as shown.
    TEmisLibSpectrum empty = FormulaElement(TSpecType::ThirdOctave, "Lw = 80", false);
    empty.SetBMinBMax(20, 29);
    empty.ClearValues();
    ASSERT_TRUE(si.CalcEmisSpecSum(empty, r)) << si.LastError().Message;
    for (int b = 20; b <= 29; ++b)
        EXPECT_NEAR(r.GetdBXValue(b), 70, 1e-9) << b;

    // A band formula sets each band from frequency, band number and locals.
    e = FormulaElement(TSpecType::Octave,
                       "// A-weighted slope\n"
                       "Lwf = 70 + 10*lg(f / 1000) + K\n"
                       "Lwf = band == 30 ? Lwf + dL : Lwf",
                       true);
    e.SetBMinBMax(21, 33);
    std::vector<double>& k = e.VarsLocal.Items[0].BandValues;
    for (int b = 0; b < kBandCount; ++b)
        k.push_back(-0.5 * b);
    e.VarsLocal.Add({"dL", "dB", "", 4, TVarFlag::Local, TResType::Level, {}}); // no band values: Value
    ASSERT_TRUE(si.CalcEmisSpec(e, r)) << si.LastError().Message;
    ASSERT_EQ(r.Bands(), (std::vector<int>{21, 24, 27, 30, 33}));
    for (int b : r.Bands()) {
        const double lwf = 70 + 10 * std::log10(ThirdOctaves[static_cast<std::size_t>(b)] / 1000) - 0.5 * b;
        EXPECT_NEAR(r.GetdBXValue(b), b == 30 ? lwf + 4 : lwf, 1e-9) << b;
    }
    EXPECT_NEAR(Output(e, "Lwf"), r.GetdBXValueSum(), 1e-9);
    EXPECT_EQ(std::pair(Output(r, "Lwf"), label.Caption()), std::pair(Output(e, "Lwf"), std::string()));
}

TEST_F(SpecInterpreterTest, FailuresReportAndChangeNothingMessagesGoOnlyWhereAsked) {
    struct Case {
        std::string formula;
        bool perBand;
        TSpecType type;
        std::string fragment;
        std::string extraLocal = {}; // a local variable added to the element
    };
    const std::vector<Case> cases = {
        {"x = 1", false, TSpecType::ThirdOctave, "does not assign the output \"Lw\""},
        {"x = 1\nLw = x +* 2", false, TSpecType::ThirdOctave, "line 2, column 9"},
        {"P = 1; Lw = P", false, TSpecType::SingleValue, "read-only"},
        {"x = 1", true, TSpecType::ThirdOctave, "does not assign the output \"Lwf\""},
        {"Lwf = 60", true, TSpecType::SingleValue, "no bands"},
        {"Lwf = 60 + lg(abs(band - 30))", true, TSpecType::ThirdOctave, "(band 1k Hz)"},
        {"Lwf = f", true, TSpecType::ThirdOctave, "\"f\" is reserved", "f"},
        {"Lw = 1", false, TSpecType::ThirdOctave, "must be an output", "LW"},
        {"Lw = 1", false, TSpecType::ThirdOctave, "declared twice", "p"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.formula);
        TEmisLibSpectrum e = FormulaElement(c.type, c.formula, c.perBand);
        if (!c.extraLocal.empty())
            e.VarsLocal.Add({c.extraLocal, "", "", 1, TVarFlag::Local, TResType::Real, {}});
        e.VarsOut.Items[0].Value = 12;
        e.SetValue(30, 40);
        TEmisLibSpectrum r;
        r.SetValue(30, 33);
        r.SetSingleValue(7);
        label.SetCaption("old");
        EXPECT_FALSE(c.perBand ? si.CalcEmisSpec(e, r) : si.CalcEmisSpecSum(e, r));
        const std::string& message = si.LastError().Message;
        EXPECT_TRUE(message.find(c.fragment) != std::string::npos && label.Caption() == message) << message;
        EXPECT_EQ(std::tuple(e.VarsOut.Items[0].Value, e.GetValue(30), r.GetValue(30), r.SingleValue(),
                             r.FormulaText),
                  std::tuple(12.0, 40.0, 33.0, 7.0, std::string()));
    }

    // Messages go only where asked and survive a label that is gone.
    TEmisLibSpectrum e = FormulaElement(TSpecType::SingleValue, "Lw = ", false);
    TEmisLibSpectrum r;
    label.SetCaption("old message");
    si.InitMsgCompos(kMsgNone, nullptr, &label);
    EXPECT_FALSE(si.CalcEmisSpecSum(e, r));
    EXPECT_EQ(std::pair(label.Caption(), si.LastError().Line), std::pair(std::string("old message"), 1));

    auto gone = std::make_unique<TLabel>("Gone");
    si.InitMsgCompos(kMsgLabel, nullptr, gone.get());
    gone.reset();
    EXPECT_FALSE(si.CalcEmisSpecSum(e, r));
    e.FormulaText = "Lw = 1";
    EXPECT_TRUE(si.CalcEmisSpecSum(e, r) && si.LastError().Message.empty());
}

} // namespace
} // namespace korvel::formula
