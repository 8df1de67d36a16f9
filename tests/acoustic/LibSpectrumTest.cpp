#include "platform/acoustic/LibSpectrum.h"

#include "platform/Errors.h"
#include "platform/acoustic/Weighting.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "support/TempDir.h"

#include <cmath>
#include <gtest/gtest.h>
#include <tuple>

namespace korvel::acoustic {
namespace {

double EnergySum(std::initializer_list<double> levels) {
    double e = 0;
    for (double l : levels)
        e += std::pow(10.0, l / 10.0);
    return 10 * std::log10(e);
}

TEST(LibSpectrum, BandRangeSnapsToOctavesAndSumsIgnoreEmptyAndOutOfRangeBands) {
    TEmisLibSpectrum s;
    s.SetBMinBMax(32, 22); // swapped on purpose
    EXPECT_EQ(s.Bmin(), 22);
    EXPECT_EQ(s.Bmax(), 32);
    s.SetSpecType(TSpecType::Octave);
    // Widened outward to whole octaves.
    EXPECT_EQ(s.Bands(), (std::vector<int>{21, 24, 27, 30, 33}));
    s.SetBMinBMax(0, 43);
    EXPECT_EQ(s.Bmax(), 42); // 20 kHz is no octave band

    s.SetSpecType(TSpecType::ThirdOctave);
    s.SetBMinBMax(20, 30);
    EXPECT_EQ(s.GetValueSum(), kEmptyBandLevel);
    s.SetValue(20, 80);
    s.SetValue(25, 83);
    s.SetValue(31, 120);  // outside the range: stored but not summed
    s.SetValue(26, -250); // below the empty level: empty
    EXPECT_EQ(s.GetValue(26), kEmptyBandLevel);
    EXPECT_NEAR(s.GetValueSum(), EnergySum({80, 83}), 1e-9);
    EXPECT_EQ(s.GetValue(-1), kEmptyBandLevel);
    EXPECT_EQ(s.GetValue(44), kEmptyBandLevel);
}

TEST(LibSpectrum, SettingTheSumShiftsUniformlyOrFillsAFlatSpectrum) {
    TEmisLibSpectrum s;
    s.SetBMinBMax(27, 33);
    s.SetValue(27, 70);
    s.SetValue(30, 75);
    s.SetValueSum(90);
    EXPECT_NEAR(s.GetValueSum(), 90, 1e-9);
    EXPECT_NEAR(s.GetValue(30) - s.GetValue(27), 5, 1e-9);
    EXPECT_EQ(s.GetValue(28), kEmptyBandLevel); // empty bands stay empty

    TEmisLibSpectrum flat;
    flat.SetBMinBMax(30, 33);
    flat.SetValueSum(86);
    EXPECT_NEAR(flat.GetValueSum(), 86, 1e-9);
    EXPECT_NEAR(flat.GetValue(30), flat.GetValue(33), 1e-12);

    TEmisLibSpectrum single;
    single.SetSpecType(TSpecType::SingleValue);
    EXPECT_TRUE(single.Bands().empty());
    single.SetValueSum(77);
    EXPECT_EQ(single.GetValueSum(), 77);
    EXPECT_EQ(single.GetdBXValueSum(), 77);
}

TEST(LibSpectrum, WeightedViewReweightAndWeightedSum) {
    TEmisLibSpectrum s;
    s.SetdBX('A');
    s.SetBMinBMax(21, 33);
    s.SetValue(21, 90); // 125 Hz: A = -16.1
    s.SetValue(30, 80); // 1 kHz: A = 0
    EXPECT_NEAR(s.GetdBXValue(21), 90 + WeightingOffset('A', 21), 1e-9);
    EXPECT_NEAR(s.GetdBXValueSum(), EnergySum({90 + WeightingOffset('A', 21), 80}), 1e-9);

    // SetdBX keeps the linear values; ReWeight keeps the weighted values as shown.
    s.SetdBX('C');
    EXPECT_EQ(s.GetValue(21), 90);
    const double shownC = s.GetdBXValue(21);
    s.ReWeight(' ');
    EXPECT_EQ(s.dBX(), ' ');
    EXPECT_NEAR(s.GetValue(21), shownC, 1e-9);

    s.SetdBX('A');
    s.SetdBXValueSum(85);
    EXPECT_NEAR(s.GetdBXValueSum(), 85, 1e-9);
    s.SetdBXValue(30, 70);
    EXPECT_NEAR(s.GetValue(30), 70, 1e-12);
    s.SetdBX('x'); // not a weighting: unweighted
    EXPECT_EQ(s.dBX(), ' ');
}

TEST(LibSpectrum, LinkedFilesMustBePlainNamesAndTooNarrowRatingsKeepOldValues) {
    TAbsoLibSpectrum s;
    s.SetLinkedFile(0, "datasheet.pdf");
    EXPECT_EQ(s.LinkedFiles[0], "datasheet.pdf");
    for (const char* bad : {"../x.pdf", "a/b.pdf", "a\\b.pdf", "C:x.pdf", ".."})
        EXPECT_THROW(s.SetLinkedFile(1, bad), EKorvelError) << bad;
    EXPECT_EQ(s.LinkedFiles[1], "");
    EXPECT_THROW(s.SetLinkedFile(4, "x"), EKorvelError);

    TTransLibSpectrum t;
    t.SetBMinBMax(20, 35);
    for (int b = 20; b <= 35; ++b)
        t.SetValue(b, 40);
    EXPECT_EQ(t.RechneRwCCtr(), "");
    EXPECT_EQ(t.Rw, 40);
    t.SetBMinBMax(21, 35); // 100 Hz now outside the range
    t.Rw = 99;
    EXPECT_NE(t.RechneRwCCtr(), "");
    EXPECT_EQ(t.Rw, 99);
}

// What every kind stores, for comparing a spectrum with the one read back.
auto Common(const TCustomLibSpectrum& s) {
    return std::tuple(s.SpecType(), s.Bmin(), s.Bmax(), s.Values(), s.Groups, s.Color, s.AddProps,
                      s.LinkedFiles);
}

class SpectrumLibrary : public ::testing::Test {
protected:
    void Make(int libType) {
        lib_ = std::make_unique<TMyTable>(TableNames(libType));
        lib_->InitLibX(dir_.Path().string() + "/", LibName(libType), TableNames(libType), false, true);
        SetFieldIndexDefs(*lib_, libType, true);
        lib_->CreateDBTable();
        lib_->Open();
    }
    db::TTable& T() { return *lib_->GetTable(); }
    // Stores the spectrum as a new element of a new library of its kind and reads it back.
    template <class TSpectrum> TSpectrum RoundTrip(TSpectrum& s) {
        Make(s.LibType());
        Store(s, "Element");
        TSpectrum back;
        back.ReadFromLibrary(*lib_, {});
        return back;
    }
    void Store(TCustomLibSpectrum& s, const std::string& name) {
        T().Append();
        OnNewRecord(T(), s.LibType(), false);
        T().FieldByName("ElementName").SetAsString(name);
        s.SaveToLibrary(*lib_, name);
        T().Post();
    }
    test::TempDir dir_;
    std::unique_ptr<TMyTable> lib_;
};

TEST_F(SpectrumLibrary, EveryKindRoundTripsThroughItsTable) {
    TEmisLibSpectrum e;
    e.SetSpecType(TSpecType::Octave);
    e.SetBMinBMax(21, 39);
    e.SetValue(21, 81.25);
    e.SetValue(39, 60.5);
    e.SetdBX('C');
    e.EmisRef = TEmisRef::PerLengthOrArea;
    e.EntryType = TEmisEntrytype::FormulaLevel;
    e.HeightAboveGround = 1.5;
    e.Sigma = 2.25;
    e.Directivity = 7;
    e.Groups = {3, 0, 9, 0};
    e.Color = 0x123456;
    e.AddProps.Items = {{"NominalPower", "12.5"}};
    e.SetLinkedFile(1, "sheet.pdf");
    e.FormulaText = "Lw = 80 + 10*lg(P)";
    e.VarsIn.Add({"P", "kW", "power", 4, formula::TVarFlag::Input, formula::TResType::Real, {}});
    const TEmisLibSpectrum back = RoundTrip(e);
    // Every field differs from its default, and the band values are ones floats hold exactly.
    EXPECT_EQ(Common(back), Common(e));
    auto emission = [](const TEmisLibSpectrum& x) {
        return std::tuple(x.dBX(), x.EmisRef, x.EntryType, x.HeightAboveGround, x.Sigma, x.Directivity,
                          x.VarsIn, x.FormulaText);
    };
    EXPECT_EQ(emission(back), emission(e));
    // The over-all value for filters is the weighted sum.
    EXPECT_NEAR(T().FieldByName("SumValue").AsFloat(), e.GetdBXValueSum(), 1e-6);

    TAbsoLibSpectrum a;
    a.SetBMinBMax(21, 23);
    a.SetValue(21, 0.1);
    a.SetValue(22, 0.3);
    a.SetScatValue(22, 0.05);
    const TAbsoLibSpectrum aBack = RoundTrip(a);
    EXPECT_FLOAT_EQ(static_cast<float>(aBack.GetValue(22)), 0.3f);
    EXPECT_FLOAT_EQ(static_cast<float>(aBack.GetScatValue(22)), 0.05f);
    EXPECT_EQ(aBack.GetScatValue(21), kEmptyBandLevel);
    EXPECT_NEAR(aBack.GetValueSum(), 0.2, 1e-6);

    TTransLibSpectrum t;
    t.SetSpecType(TSpecType::SingleValue);
    t.TransType = TTransType::NormalizedLevelDifference;
    t.Rw = 52;
    t.C = -1;
    t.Ctr = -4;
    t.BauteilTyp = 2;
    const TTransLibSpectrum tBack = RoundTrip(t);
    EXPECT_EQ(Common(tBack), Common(t));
    EXPECT_EQ(std::tuple(tBack.TransType, tBack.Rw, tBack.C, tBack.Ctr, tBack.BauteilTyp),
              std::tuple(TTransType::NormalizedLevelDifference, 52.0, -1.0, -4.0, 2));
    EXPECT_NE(T().FindField("Color"), nullptr);

    // Attenuation spectra carry no colour; an element is read by its number and a missing one refused.
    TAttenLibSpectrum n;
    n.SetValue(30, 3);
    EXPECT_EQ(RoundTrip(n).GetValue(30), 3);
    EXPECT_EQ(T().FindField("Color"), nullptr);
    n.SetValue(30, 7);
    Store(n, "Two");
    n.ReadFromLibrary(*lib_, {}, 1);
    EXPECT_EQ(n.GetValue(30), 3);
    EXPECT_THROW(n.ReadFromLibrary(*lib_, {}, 99), EKorvelError);
}

TEST_F(SpectrumLibrary, DamagedBlobsAreReportedAndLeaveTheObjectAlone) {
    TAbsoLibSpectrum target;
    target.SetValue(30, 0.9);
    RoundTrip(target);
    T().Edit();
    T().FieldByName("Spectrum").SetAsBytes(db::TBytes(175, 0)); // one byte short of 44 floats
    T().Post();
    target.SetValue(30, 0.5);
    try {
        target.ReadFromLibrary(*lib_, {});
        FAIL() << "a short spectrum blob was accepted";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("spectrum"), std::string::npos) << e.what();
    }
    EXPECT_EQ(target.GetValue(30), 0.5);

    T().Edit();
    T().FieldByName("Spectrum").SetAsBytes({});
    T().FieldByName("AddProp").SetAsBytes({1, 0, 5}); // one property announced, its name cut off
    T().Post();
    EXPECT_THROW(target.ReadFromLibrary(*lib_, {}), EKorvelError);
    EXPECT_EQ(target.GetValue(30), 0.5);
}

} // namespace
} // namespace korvel::acoustic
