#include "platform/acoustic/Directivity.h"

#include "platform/Errors.h"
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

constexpr int kDirectivityType = 119;

TEST(Directivity, GridSizesFollowTypeAndSteps) {
    TDirectivity d;
    auto grid = [&] {
        return std::tuple(d.BandCount(), d.GetItem(0).Band, d.ThetaCount(), d.PhiCount());
    };
    EXPECT_EQ(d.DirType(), TDirType::RotationallySymmetric);
    EXPECT_EQ(grid(), std::tuple(1, 27, 37, 72));
    EXPECT_EQ(d.BandStr(0), "All frequencies");

    d.SetStep(10, 10);
    d.SetDirType(TDirType::Full3D);
    EXPECT_EQ(grid(), std::tuple(1, 27, 19, 36)); // 0, 10, ..., 180 by 0, 10, ..., 350
    EXPECT_EQ(d.GetItem(0).Values.size(), 19u * 36u);
    d.SetDirType(TDirType::Horizontal);
    EXPECT_EQ(grid(), std::tuple(1, 27, 1, 36));
    EXPECT_EQ(d.ThetaOf(0), 90.0);

    d.SetSpecType(TSpecType::Octave);
    d.SetBMinBMax(20, 40);
    // Widened outward to the octave bands 63 Hz (18) .. 16 kHz (42).
    EXPECT_EQ(grid(), std::tuple(9, 18, 1, 36));
    EXPECT_EQ(d.BandStr(4), "1k Hz");

    EXPECT_THROW(d.SetStep(7, 10), EKorvelError);
    EXPECT_THROW(d.SetStep(10, 0), EKorvelError);
    EXPECT_EQ(d.StepH(), 10); // unchanged by the refused steps
    EXPECT_THROW(d.GetItem(9), EKorvelError);
    EXPECT_THROW(d.Value(0, 1, 0), EKorvelError);
}

TEST(Directivity, ReshapingKeepsValuesOfBandsAndAnglesThatStay) {
    TDirectivity d;
    d.SetDirType(TDirType::Full3D);
    d.SetStep(10, 10);
    d.SetSpecType(TSpecType::ThirdOctave);
    d.SetBMinBMax(27, 30);
    d.SetValue(3, 9, 9, -6); // 1 kHz, theta 90, phi 90
    d.AddSample(90, 90, 1.5);
    d.SetStep(5, 5);
    EXPECT_EQ(d.Value(3, 18, 18), -6); // same direction on the finer grid
    d.SetBMinBMax(29, 33);
    EXPECT_EQ(d.GetItem(1).Band, 30);
    EXPECT_EQ(d.Value(1, 18, 18), -6);
    ASSERT_EQ(d.Samples.size(), 1u);
    EXPECT_EQ(d.Samples[0].Values.size(), 5u);
    EXPECT_EQ(d.Samples[0].Values[1], 1.5); // the 1 kHz value followed its band
}

TEST(Directivity, TotalLevelDeviationIsTheEnergeticMeanOverTheSphere) {
    TDirectivity d;
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

class DirectivityLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        lib_ = std::make_unique<TMyTable>(TableNames(kDirectivityType));
        lib_->InitLibX(dir_.Path().string() + "/", LibName(kDirectivityType), TableNames(kDirectivityType),
                       false, true);
        SetFieldIndexDefs(*lib_, kDirectivityType, true);
        lib_->CreateDBTable();
        lib_->Open();
    }
    db::TTable& T() { return *lib_->GetTable(); }
    // Stores these fields into the current record.
    void Store(const db::TBytes& values, int stepV, const db::TBytes& samples) {
        T().Edit();
        T().FieldByName("DirValues").SetAsBytes(values);
        T().FieldByName("StepV").SetAsInteger(stepV);
        T().FieldByName("Samples").SetAsBytes(samples);
        T().Post();
    }
    test::TempDir dir_;
    std::unique_ptr<TMyTable> lib_;
};

TEST_F(DirectivityLibrary, RoundTripThroughTheRecordAndDamagedRecordsAreRefused) {
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

    TDirectivity back;
    back.ReadFromLibrary(T(), 1);
    EXPECT_EQ(back, d);
    EXPECT_EQ(T().FieldByName("ElementName").AsString(), "Horn");
    EXPECT_THROW(back.ReadFromLibrary(T(), 2), EKorvelError);

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
    for (const auto& c : cases) {
        Store(c.Values, c.StepV, c.Samples);
        EXPECT_THROW(target.ReadFromLibrary(T()), EKorvelError) << c.What;
        EXPECT_EQ(target, before) << c.What;
    }
    Store(good, 10, {});
    target.ReadFromLibrary(T());
    EXPECT_EQ(target.ThetaCount(), 19);
}

} // namespace
} // namespace korvel::acoustic
