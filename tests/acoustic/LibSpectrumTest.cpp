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
    EXPECT_EQ(s.Bmin(), 21);
    EXPECT_EQ(s.Bmax(), 33);
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
    EXPECT_NEAR(s.GetdBXValue(21), shownC, 1e-9);
    EXPECT_NEAR(s.GetValue(21), shownC, 1e-9);

    s.SetdBX('A');
    s.SetdBXValueSum(85);
    EXPECT_NEAR(s.GetdBXValueSum(), 85, 1e-9);
    s.SetdBXValue(30, 70);
    EXPECT_NEAR(s.GetValue(30), 70, 1e-12);
    s.SetdBX('x'); // not a weighting: unweighted
    EXPECT_EQ(s.dBX(), ' ');
}

TEST(LibSpectrum, LinkedFilesMustBePlainNames) {
    TAbsoLibSpectrum s;
    s.SetLinkedFile(0, "datasheet.pdf");
    EXPECT_EQ(s.LinkedFiles[0], "datasheet.pdf");
    for (const char* bad : {"../x.pdf", "a/b.pdf", "a\\b.pdf", "C:x.pdf", ".."})
        EXPECT_THROW(s.SetLinkedFile(1, bad), EKorvelError) << bad;
    EXPECT_EQ(s.LinkedFiles[1], "");
    EXPECT_THROW(s.SetLinkedFile(4, "x"), EKorvelError);
}

TEST(LibSpectrum, TransmissionRatingKeepsOldValuesWhenTooNarrow) {
    TTransLibSpectrum t;
    t.SetBMinBMax(20, 35);
    for (int b = 20; b <= 35; ++b)
        t.SetValue(b, 40);
    EXPECT_EQ(t.RechneRwCCtr(), "");
    const double rw = t.Rw;
    EXPECT_GT(rw, 0);
    t.SetBMinBMax(21, 35); // 100 Hz now outside the range
    t.Rw = 99;
    EXPECT_NE(t.RechneRwCCtr(), "");
    EXPECT_EQ(t.Rw, 99);
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
    void Store(TCustomLibSpectrum& s, const std::string& name, int libType) {
        T().Append();
        OnNewRecord(T(), libType, false);
        T().FieldByName("ElementName").SetAsString(name);
        s.SaveToLibrary(*lib_, name);
        T().Post();
    }
    test::TempDir dir_;
    std::unique_ptr<TMyTable> lib_;
};

TEST_F(SpectrumLibrary, EveryKindRoundTripsThroughItsTable) {
    Make(kEmissionLibType);
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
    Store(e, "Fan", kEmissionLibType);
    TEmisLibSpectrum back;
    back.ReadFromLibrary(*lib_, TAddPropDefList(kEmissionLibType));
    EXPECT_EQ(back.SpecType(), TSpecType::Octave);
    EXPECT_EQ(back.Bmin(), 21);
    EXPECT_EQ(back.Bmax(), 39);
    EXPECT_EQ(back.GetValue(21), 81.25);
    EXPECT_EQ(back.GetValue(24), kEmptyBandLevel);
    EXPECT_EQ(back.dBX(), 'C');
    EXPECT_EQ(back.EmisRef, TEmisRef::PerLengthOrArea);
    EXPECT_EQ(back.EntryType, TEmisEntrytype::FormulaLevel);
    EXPECT_EQ(back.HeightAboveGround, 1.5);
    EXPECT_EQ(back.Sigma, 2.25);
    EXPECT_EQ(back.Directivity, 7);
    EXPECT_EQ(back.Groups, e.Groups);
    EXPECT_EQ(back.Color, 0x123456u);
    EXPECT_EQ(back.AddProps, e.AddProps);
    EXPECT_EQ(back.LinkedFiles[1], "sheet.pdf");
    EXPECT_EQ(back.FormulaText, e.FormulaText);
    EXPECT_EQ(back.VarsIn, e.VarsIn);
    // The over-all value for filters is the weighted sum.
    EXPECT_NEAR(T().FieldByName("SumValue").AsFloat(), e.GetdBXValueSum(), 1e-6);

    lib_.reset();
    Make(kAbsorptionLibType);
    TAbsoLibSpectrum a;
    a.SetBMinBMax(21, 23);
    a.SetValue(21, 0.1);
    a.SetValue(22, 0.3);
    a.SetScatValue(22, 0.05);
    Store(a, "Panel", kAbsorptionLibType);
    TAbsoLibSpectrum aBack;
    aBack.ReadFromLibrary(*lib_, {});
    EXPECT_FLOAT_EQ(static_cast<float>(aBack.GetValue(22)), 0.3f);
    EXPECT_FLOAT_EQ(static_cast<float>(aBack.GetScatValue(22)), 0.05f);
    EXPECT_EQ(aBack.GetScatValue(21), kEmptyBandLevel);
    EXPECT_NEAR(aBack.GetValueSum(), 0.2, 1e-6);

    lib_.reset();
    Make(kTransmissionLibType);
    TTransLibSpectrum t;
    t.SetSpecType(TSpecType::SingleValue);
    t.TransType = TTransType::NormalizedLevelDifference;
    t.Rw = 52;
    t.C = -1;
    t.Ctr = -4;
    t.BauteilTyp = 2;
    Store(t, "Wall", kTransmissionLibType);
    TTransLibSpectrum tBack;
    tBack.ReadFromLibrary(*lib_, {});
    EXPECT_EQ(tBack.SpecType(), TSpecType::SingleValue);
    EXPECT_EQ(tBack.TransType, TTransType::NormalizedLevelDifference);
    EXPECT_EQ(tBack.Rw, 52);
    EXPECT_EQ(tBack.C, -1);
    EXPECT_EQ(tBack.Ctr, -4);
    EXPECT_EQ(tBack.BauteilTyp, 2);
    EXPECT_EQ(T().FindField("Color") != nullptr, true);

    lib_.reset();
    Make(kAttenuationLibType);
    EXPECT_EQ(T().FindField("Color"), nullptr); // attenuation spectra carry no colour
}

TEST_F(SpectrumLibrary, DamagedBlobsAreReportedAndLeaveTheObjectAlone) {
    Make(kAbsorptionLibType);
    TAbsoLibSpectrum a;
    a.SetValue(30, 0.5);
    Store(a, "Good", kAbsorptionLibType);
    T().Edit();
    T().FieldByName("Spectrum").SetAsBytes(db::TBytes(175, 0)); // one byte short of 44 floats
    T().Post();

    TAbsoLibSpectrum target;
    target.SetValue(30, 0.9);
    try {
        target.ReadFromLibrary(*lib_, {});
        FAIL() << "a short spectrum blob was accepted";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("spectrum"), std::string::npos) << e.what();
    }
    EXPECT_FLOAT_EQ(static_cast<float>(target.GetValue(30)), 0.9f);

    T().Edit();
    T().FieldByName("Spectrum").SetAsBytes({});
    T().FieldByName("AddProp").SetAsBytes({1, 0, 5}); // one property announced, its name cut off
    T().Post();
    EXPECT_THROW(target.ReadFromLibrary(*lib_, {}), EKorvelError);
    EXPECT_FLOAT_EQ(static_cast<float>(target.GetValue(30)), 0.9f);
}

TEST_F(SpectrumLibrary, ReadsAnElementByNumberAndRefusesAMissingOne) {
    Make(kAttenuationLibType);
    TAttenLibSpectrum a;
    a.SetValue(30, 3);
    Store(a, "One", kAttenuationLibType);
    a.SetValue(30, 7);
    Store(a, "Two", kAttenuationLibType);
    TAttenLibSpectrum back;
    back.ReadFromLibrary(*lib_, {}, 1);
    EXPECT_EQ(back.GetValue(30), 3);
    EXPECT_THROW(back.ReadFromLibrary(*lib_, {}, 99), EKorvelError);
}

} // namespace
} // namespace korvel::acoustic
