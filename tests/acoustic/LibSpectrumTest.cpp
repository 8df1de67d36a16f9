#include "platform/acoustic/LibSpectrum.h"

#include "platform/Errors.h"
#include "platform/acoustic/AddProp.h"
#include "platform/acoustic/Directivity.h"
#include "platform/acoustic/RwRating.h"
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

TEST(LibSpectrum, BandRangeSumsAndSettingTheSum) {
    TEmisLibSpectrum s;
    s.SetBMinBMax(32, 22); // swapped on purpose
    EXPECT_EQ(std::pair(s.Bmin(), s.Bmax()), std::pair(22, 32));
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
    EXPECT_NEAR(s.GetValueSum(), EnergySum({80, 83}), 1e-9);
    for (int band : {26, -1, 44})
        EXPECT_EQ(s.GetValue(band), kEmptyBandLevel) << band;

    // Setting the sum shifts uniformly or fills a flat spectrum.
    s = TEmisLibSpectrum();
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
    single.SetValueSum(77);
    EXPECT_EQ(std::tuple(single.Bands().size(), single.GetValueSum(), single.GetdBXValueSum()),
              std::tuple(0u, 77.0, 77.0));
}

TEST(LibSpectrum, WeightedViewReweightAndWeightedSum) {
    TEmisLibSpectrum s;
    s.SetdBX('A');
    s.SetBMinBMax(21, 33);
    s.SetValue(21, 90); // 125 Hz: A = -16.1
    s.SetValue(30, 80); // 1 kHz: A = 0
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
    for (const char* bad : {"../x.pdf", "a/b.pdf", "a\\b.pdf", "C:x.pdf", ".."})
        EXPECT_THROW(s.SetLinkedFile(1, bad), EKorvelError) << bad;
    EXPECT_EQ(std::pair(s.LinkedFiles[0], s.LinkedFiles[1]),
              std::pair(std::string("datasheet.pdf"), std::string()));
    EXPECT_THROW(s.SetLinkedFile(4, "x"), EKorvelError);

    TTransLibSpectrum t;
    t.SetBMinBMax(20, 35);
    for (int b = 20; b <= 35; ++b)
        t.SetValue(b, 40);
    EXPECT_EQ((std::pair{t.RechneRwCCtr(), t.Rw}), std::pair(std::string(), 40.0));
    t.SetBMinBMax(21, 35); // 100 Hz now outside the range
    t.Rw = 99;
    EXPECT_EQ((std::pair{t.RechneRwCCtr(), t.Rw}), std::pair(std::string(kRwNotWideEnoughMessage), 99.0));
}

TEST(AddProp, BlobRoundTripDamageEnsureRemoveDefinitionsPerKindAndTypedCharacters) {
    TAddPropList list;
    list.Items = {{"MassPerArea", "350"}, {"Notiz", "Ziegel, verputzt – 24 cm"}, {"Empty", ""}};
    TAddPropList back;
    back.FromBlob(list.ToBlob());
    EXPECT_EQ(back, list);
    EXPECT_TRUE(TAddPropList().ToBlob().empty());

    const TBlob good = list.ToBlob();
    for (std::size_t cut = 1; cut < good.size(); ++cut) {
        TBlob damaged(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut));
        EXPECT_THROW(back.FromBlob(damaged), EKorvelError) << "cut at " << cut;
    }
    TBlob longer = good;
    longer.push_back(0);
    EXPECT_THROW(back.FromBlob(longer), EKorvelError);
    EXPECT_EQ(back, list); // unchanged by the refused blobs

    list.Items.clear();
    list.Ensure(kMassPerArea, "0");
    list.Ensure("massperarea", "5"); // names ignore case
    EXPECT_EQ(list.Items, (std::vector{TAddProp{std::string(kMassPerArea), "0"}}));
    list.Remove("MASSPERAREA");
    EXPECT_TRUE(list.Items.empty());

    const TAddPropDefList trans(kTransmissionLibType);
    for (auto name : {kMassPerArea, kDRiw, kDRjw})
        EXPECT_NE(trans.Find(name), nullptr) << name;
    EXPECT_EQ(TAddPropDefList(kAttenuationLibType).Find(kMassPerArea), nullptr);
    EXPECT_TRUE(TAddPropDefList(9).Items.empty());
    int withMass = 0;
    for (const auto& t : OutsideElementTypes())
        withMass += OutsideTypeHasMassProps(t.Id) ? 1 : 0;
    EXPECT_EQ(withMass, 3);

    // Control characters pass; the decimal separator is the one given.
    EXPECT_EQ(
        (std::vector{
            AddPropCharAllowed(TAddPropType::Integer, '-'), AddPropCharAllowed(TAddPropType::Integer, '7'),
            AddPropCharAllowed(TAddPropType::Integer, '.'), AddPropCharAllowed(TAddPropType::Float, ',', ','),
            AddPropCharAllowed(TAddPropType::Float, 'e'), AddPropCharAllowed(TAddPropType::Float, '\b'),
            AddPropCharAllowed(TAddPropType::Text, 'x')}),
        (std::vector{true, true, false, true, false, true, true}));
}

constexpr int kDirectivityType = 119;

TEST(Directivity, GridReshapingAndTotalLevelDeviationAsTheEnergeticMeanOverTheSphere) {
    TDirectivity d;
    auto grid = [&] {
        return std::tuple(d.BandCount(), d.GetItem(0).Band, d.ThetaCount(), d.PhiCount());
    };
    EXPECT_EQ(std::tuple(d.DirType(), grid(), d.BandStr(0)),
              std::tuple(TDirType::RotationallySymmetric, std::tuple(1, 27, 37, 72), "All frequencies"));

    d.SetStep(10, 10);
    d.SetDirType(TDirType::Full3D);
    EXPECT_EQ(grid(), std::tuple(1, 27, 19, 36)); // 0, 10, ..., 180 by 0, 10, ..., 350
    EXPECT_EQ(d.GetItem(0).Values.size(), 19u * 36u);
    d.SetDirType(TDirType::Horizontal);
    EXPECT_EQ(std::pair(grid(), d.ThetaOf(0)), std::pair(std::tuple(1, 27, 1, 36), 90.0));

    d.SetSpecType(TSpecType::Octave);
    d.SetBMinBMax(20, 40);
    // Widened outward to the octave bands 63 Hz (18) .. 16 kHz (42).
    EXPECT_EQ(std::pair(grid(), d.BandStr(4)), std::pair(std::tuple(9, 18, 1, 36), std::string("1k Hz")));

    EXPECT_THROW(d.SetStep(7, 10), EKorvelError);
    EXPECT_THROW(d.SetStep(10, 0), EKorvelError);
    EXPECT_EQ(d.StepH(), 10); // unchanged by the refused steps
    EXPECT_THROW(d.GetItem(9), EKorvelError);
    EXPECT_THROW(d.Value(0, 1, 0), EKorvelError);

    // Reshaping keeps the values of the bands and angles that stay.
    d = TDirectivity();
    d.SetDirType(TDirType::Full3D);
    d.SetStep(10, 10);
    d.SetSpecType(TSpecType::ThirdOctave);
    d.SetBMinBMax(27, 30);
    d.SetValue(3, 9, 9, -6); // 1 kHz, theta 90, phi 90
    d.AddSample(90, 90, 1.5);
    d.SetStep(5, 5);
    EXPECT_EQ(d.Value(3, 18, 18), -6); // same direction on the finer grid
    d.SetBMinBMax(29, 33);
    // The 1 kHz values, of the grid and of the sample, follow their band.
    ASSERT_EQ(d.Samples.size(), 1u);
    EXPECT_EQ(
        std::tuple(d.GetItem(1).Band, d.Value(1, 18, 18), d.Samples[0].Values.size(), d.Samples[0].Values[1]),
        std::tuple(30, -6.0, 5u, 1.5));

    // The total level deviation is the energetic mean over the sphere.
    d = TDirectivity();
    d.SetDirType(TDirType::Full3D);
    d.SetStep(10, 10);
    d.CalcLtot();
    EXPECT_NEAR(d.GetItem(0).dLtot, 0.0, 1e-12); // all 0 dB
    // The upper half 3 dB up: the mean energy is (2 + 1) / 2, whatever the grid's pole caps weigh.
    for (int r = 0; r < d.ThetaCount(); ++r)
        for (int c = 0; c < d.PhiCount(); ++c)
            d.SetValue(0, r, c, r < 9 ? 10 * std::log10(2.0) : r == 9 ? 10 * std::log10(1.5) : 0.0);
    d.CalcLtot();
    EXPECT_NEAR(d.GetItem(0).dLtot, 10 * std::log10(1.5), 1e-9);

    TDirectivity h;
    h.SetDirType(TDirType::Horizontal);
    h.SetStep(90, 90);
    h.SetValue(0, 0, 0, 10 * std::log10(4.0)); // one of four directions four times the energy
    h.CalcLtot();
    EXPECT_NEAR(h.GetItem(0).dLtot, 10 * std::log10(7.0 / 4.0), 1e-9);
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

TEST_F(SpectrumLibrary, EveryKindAndDirectivitiesRoundTripAndDamagedDirectivitiesAreRefused) {
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
    auto emission = [](const TEmisLibSpectrum& x) {
        return std::tuple(Common(x), x.dBX(), x.EmisRef, x.EntryType, x.HeightAboveGround, x.Sigma,
                          x.Directivity, x.VarsIn, x.FormulaText);
    };
    EXPECT_EQ(emission(back), emission(e));
    // The over-all value for filters is the weighted sum.
    EXPECT_NEAR(T().FieldByName("SumValue").AsFloat(), e.GetdBXValueSum(), 1e-6);

    // Float-exact values: absorption stores its scattering beside the bands, and its sum is the mean.
    TAbsoLibSpectrum a;
    a.SetBMinBMax(21, 23);
    a.SetValue(21, 0.25);
    a.SetValue(22, 0.5);
    a.SetScatValue(22, 0.125);
    const TAbsoLibSpectrum aBack = RoundTrip(a);
    EXPECT_EQ(std::tuple(Common(aBack), aBack.ScatValues(), aBack.GetValueSum()),
              std::tuple(Common(a), a.ScatValues(), 0.375));

    TTransLibSpectrum t;
    t.SetSpecType(TSpecType::SingleValue);
    t.TransType = TTransType::NormalizedLevelDifference;
    t.Rw = 52;
    t.C = -1;
    t.Ctr = -4;
    t.BauteilTyp = 2;
    const TTransLibSpectrum tBack = RoundTrip(t);
    auto transmission = [](const TTransLibSpectrum& x) {
        return std::tuple(Common(x), x.TransType, x.Rw, x.C, x.Ctr, x.BauteilTyp);
    };
    EXPECT_EQ(transmission(tBack), transmission(t));
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
    // An empty spectrum blob is an element without values, not a damaged one.
    T().Edit();
    T().FieldByName("Spectrum").SetAsBytes({});
    T().Post();
    n.ReadFromLibrary(*lib_, {});
    EXPECT_EQ(n.GetValue(30), kEmptyBandLevel);

    // Directivities round-trip through their record; damaged records are refused.
    Make(kDirectivityType);
    TDirectivity d;
    d.SetDirType(TDirType::Full3D);
    d.SetStep(10, 10);
    d.SetSpecType(TSpecType::ThirdOctave);
    d.SetBMinBMax(15, 42);
    d.SetValue(27, 18, 35, -12.5);
    d.AddSample(30, 350, -2.25);
    d.CalcLtot();
    // Stored as 32-bit floats: compare with what a float holds.
    for (int i = 0; i < d.BandCount(); ++i)
        d.GetItem(i).dLtot = static_cast<float>(d.GetItem(i).dLtot);
    T().Append();
    OnNewRecord(T(), kDirectivityType, false);
    d.SaveToLibrary(T(), "Horn");
    T().Post();

    TDirectivity dBack;
    dBack.ReadFromLibrary(T(), 1);
    EXPECT_EQ(dBack, d);
    EXPECT_EQ(T().FieldByName("ElementName").AsString(), "Horn");
    EXPECT_THROW(dBack.ReadFromLibrary(T(), 2), EKorvelError);

    // Damaged records, each damage on its own.
    const db::TBytes good = T().FieldByName("DirValues").AsBytes();
    TDirectivity target;
    target.SetDirType(TDirType::Horizontal);
    const TDirectivity before = target;
    const db::TBytes cut(good.begin(), good.end() - 1);
    const struct {
        const char* What;
        const db::TBytes& Values;
        int StepV;
        db::TBytes Samples;
    } cases[] = {{"a value blob cut short", cut, 10, {}},
                 {"steps that do not fit the grid", good, 5, {}},
                 {"a step that does not divide 180", good, 7, {}},
                 {"a sample count larger than the blob", good, 10, {1, 0, 1, 0, 255, 255, 255, 255}}};
    auto store = [&](const db::TBytes& values, int stepV, const db::TBytes& samples) {
        T().Edit();
        T().FieldByName("DirValues").SetAsBytes(values);
        T().FieldByName("StepV").SetAsInteger(stepV);
        T().FieldByName("Samples").SetAsBytes(samples);
        T().Post();
    };
    for (const auto& c : cases) {
        store(c.Values, c.StepV, c.Samples);
        EXPECT_THROW(target.ReadFromLibrary(T()), EKorvelError) << c.What;
        EXPECT_EQ(target, before) << c.What;
    }
    store(good, 10, {});
    target.ReadFromLibrary(T());
    EXPECT_EQ(target.ThetaCount(), 19);
}

} // namespace
} // namespace korvel::acoustic
