#include "platform/formula/SpecInterpreter.h"

#include "platform/acoustic/LibSpectrum.h"
#include "platform/ui/StdCtrls.h"

#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <tuple>

namespace korvel::formula {
namespace {

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

TEST_F(SpecInterpreterTest, LevelFormulaSetsTheSingleValueOrShiftsTheBands) {
    // n is used rounded (1500); locals take their single value for Lw.
    TEmisLibSpectrum e = FormulaElement(TSpecType::SingleValue, "Lw = 10*lg(P) + 50 + K + (n - 1500)", false);
    TEmisLibSpectrum r;
    ASSERT_TRUE(si.CalcEmisSpecSum(e, r)) << si.LastError().Message;
    EXPECT_DOUBLE_EQ(r.SingleValue(), 68);
    EXPECT_EQ(r.SpecType(), TSpecType::SingleValue);
    EXPECT_DOUBLE_EQ(Output(e, "Lw"), 68);
    EXPECT_DOUBLE_EQ(Output(r, "Lw"), 68);
    EXPECT_EQ(r.FormulaText, e.FormulaText);
    EXPECT_TRUE(label.Caption().empty());

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
}

TEST_F(SpecInterpreterTest, BandFormulaSetsEachBandFromFrequencyBandAndLocals) {
    TEmisLibSpectrum e = FormulaElement(TSpecType::Octave,
                                        "// A-weighted slope\n"
                                        "Lwf = 70 + 10*lg(f / 1000) + K\n"
                                        "Lwf = band == 30 ? Lwf + dL : Lwf",
                                        true);
    e.SetBMinBMax(21, 33);
    std::vector<double>& k = e.VarsLocal.Items[0].BandValues;
    for (int b = 0; b < kBandCount; ++b)
        k.push_back(-0.5 * b);
    e.VarsLocal.Add({"dL", "dB", "", 4, TVarFlag::Local, TResType::Level, {}}); // no band values: Value
    TEmisLibSpectrum r;
    ASSERT_TRUE(si.CalcEmisSpec(e, r)) << si.LastError().Message;
    ASSERT_EQ(r.Bands(), (std::vector<int>{21, 24, 27, 30, 33}));
    for (int b : r.Bands()) {
        const double lwf = 70 + 10 * std::log10(ThirdOctaves[static_cast<std::size_t>(b)] / 1000) - 0.5 * b;
        EXPECT_NEAR(r.GetdBXValue(b), b == 30 ? lwf + 4 : lwf, 1e-9) << b;
    }
    EXPECT_NEAR(Output(e, "Lwf"), r.GetdBXValueSum(), 1e-9);
    EXPECT_NEAR(Output(r, "Lwf"), r.GetdBXValueSum(), 1e-9);
    EXPECT_TRUE(label.Caption().empty());
}

TEST_F(SpecInterpreterTest, FailuresReportAndChangeNothing) {
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
        EXPECT_NE(si.LastError().Message.find(c.fragment), std::string::npos) << si.LastError().Message;
        EXPECT_EQ(label.Caption(), si.LastError().Message);
        EXPECT_EQ(std::tuple(e.VarsOut.Items[0].Value, e.GetValue(30), r.GetValue(30), r.SingleValue(),
                             r.FormulaText),
                  std::tuple(12.0, 40.0, 33.0, 7.0, std::string()));
    }
}

TEST(SpecInterpreter, MessagesGoOnlyWhereAskedAndSurviveAGoneLabel) {
    TEmisLibSpectrum e = FormulaElement(TSpecType::SingleValue, "Lw = ", false);
    TEmisLibSpectrum r;
    TSpecInterpreter si;
    TLabel kept{"Kept"};
    kept.SetCaption("untouched");
    si.InitMsgCompos(kMsgNone, nullptr, &kept);
    EXPECT_FALSE(si.CalcEmisSpecSum(e, r));
    EXPECT_EQ(kept.Caption(), "untouched");
    EXPECT_EQ(si.LastError().Line, 1);

    auto gone = std::make_unique<TLabel>("Gone");
    si.InitMsgCompos(kMsgLabel, nullptr, gone.get());
    gone.reset();
    EXPECT_FALSE(si.CalcEmisSpecSum(e, r));
    e.FormulaText = "Lw = 1";
    EXPECT_TRUE(si.CalcEmisSpecSum(e, r));
    EXPECT_TRUE(si.LastError().Message.empty());
}

} // namespace
} // namespace korvel::formula
