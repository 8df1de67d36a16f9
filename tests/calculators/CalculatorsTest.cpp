// The calculators: sound power from sound pressure, absorption from the flow resistivity and scattering from
// the roughness, their dialogs and what they write into an element.

#include "calculators/FlowResistivity.h"
#include "calculators/FormFlowResistivity.h"
#include "calculators/FormLpToLw.h"
#include "calculators/FormScatteringFromRoughness.h"
#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/Bands.h"
#include "support/TestUi.h"

#include <cmath>
#include <complex>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace korvel::calculators {
namespace {

const std::string kSphereAt3m = "Sound power calculated from sound pressure with following parameters:\r\n"
                                "\tFull sphere: point source radiating in full space\r\n"
                                "\tMeasurement distance D [m] = 3.0\r\n"
                                "\r\n"
                                "\tLw = Lp + 10 log(A) = Lp + 20.5 dB";

TFormLpToLw& LpToLw(TForm& form) {
    return dynamic_cast<TFormLpToLw&>(form);
}

// Two bands of 80 dB measured as sound pressure.
acoustic::TEmisLibSpectrum Measured() {
    acoustic::TEmisLibSpectrum spectrum;
    spectrum.SetBMinBMax(30, 31);
    spectrum.SetValue(30, 80);
    spectrum.SetValue(31, 80);
    spectrum.EmisRef = acoustic::TEmisRef::SoundPressure;
    return spectrum;
}

TEST(FormLpToLw, FullSphereByDefault) {
    test::TTestUi ui;
    TFormLpToLw form(ui);
    EXPECT_EQ(form.RGSurfType->Items().size(), 4u);
    EXPECT_EQ(form.SurfType(), stFullSphere);
    EXPECT_EQ(form.EditD->Text(), "3.0");
    EXPECT_EQ(form.LabelA->Caption(), "A = 113.1 [m²]");
    EXPECT_EQ(form.LabelResult->Caption(), "Lw = Lp + 10 log(A) = Lp + 20.5 dB");
    EXPECT_NEAR(form.DeltaL(), 20.53, 0.005);
    EXPECT_FALSE(form.EditW->Reachable());
    EXPECT_EQ(form.Description(), kSphereAt3m);
    form.RGSurfType->SetItemIndex(stHalfSphere);
    EXPECT_EQ(form.LabelA->Caption(), "A = 56.5 [m²]");
}

TEST(FormLpToLw, BoxOnGroundUsesTheMachineSize) {
    test::TTestUi ui;
    TFormLpToLw form(ui);
    form.RGSurfType->SetItemIndex(stBoxHalfSpace);
    form.EditD->SetText("1");
    EXPECT_TRUE(form.EditW->Reachable());
    EXPECT_EQ(form.Find<TLabel>("LabelEditL").Caption(), "Length L [m]");
    EXPECT_EQ(form.EditH->Text(), "1.0");
    EXPECT_DOUBLE_EQ(form.Area(), 33.0); // a = b = 3, c = 2
    EXPECT_EQ(form.LabelA->Caption(), "A = 33.0 [m²]");
    EXPECT_EQ(form.Description(), "Sound power calculated from sound pressure with following parameters:\r\n"
                                  "\tBox shaped machine radiating in half space (on ground)\r\n"
                                  "\tMeasurement distance D [m] = 1.0\r\n"
                                  "\tMachine size (W*L*H) = 1.0*1.0*1.0 [m*m*m]\r\n"
                                  "\r\n"
                                  "\tLw = Lp + 10 log(A) = Lp + 15.2 dB");

    form.RGSurfType->SetItemIndex(stBoxFullSpace);
    EXPECT_DOUBLE_EQ(form.Area(), 54.0); // a = b = c = 3
    form.EditW->SetText("2,5");          // typed with a decimal comma
    EXPECT_DOUBLE_EQ(form.Area(), 2 * (4.5 * 3 + 4.5 * 3 + 3 * 3));
    EXPECT_NE(form.Description().find("= 2.5*1.0*1.0 [m*m*m]"), std::string::npos);
}

TEST(FormLpToLw, UnusableEntriesKeepTheDialogOpen) {
    test::TTestUi ui;
    ui.ExpectModal("Convert sound pressure to sound power", [&ui](TForm& f) {
        auto& form = LpToLw(f);
        form.EditD->SetText("far");
        EXPECT_EQ(form.LabelA->Caption(), "A = ? [m²]");
        ui.ExpectMessage(mtError, "\"far\" is not a number", mrOk);
        form.ButtonOK->Click();
        EXPECT_TRUE(form.Modal());

        form.EditD->SetText("0");
        ui.ExpectMessage(mtError, "measurement distance D must be greater than 0", mrOk);
        form.PressDefault();
        EXPECT_TRUE(form.Modal());

        // A bad width does not matter while the surface is a sphere.
        form.EditW->SetText("-1");
        form.EditD->SetText("1");
        form.PressDefault();
        return mrNone;
    });
    acoustic::TEmisLibSpectrum spectrum = Measured();
    std::string comment;
    EXPECT_TRUE(CalculateLwfromLp(ui, spectrum, comment));
}

TEST(CalculateLwfromLp, OkShiftsTheSpectrumAndNotesHowCancelOrNoLevelsChangeNothing) {
    test::TTestUi ui;
    ui.ExpectModal("Convert sound pressure to sound power", [](TForm& f) {
        LpToLw(f).ButtonOK->Click();
        return mrNone;
    });
    acoustic::TEmisLibSpectrum spectrum = Measured();
    std::string comment = "Measured on site";
    ASSERT_TRUE(CalculateLwfromLp(ui, spectrum, comment));
    const double deltaL = 10 * std::log10(4 * M_PI * 9);
    EXPECT_NEAR(spectrum.GetValue(30), 80 + deltaL, 1e-9);
    EXPECT_NEAR(spectrum.GetValue(31), 80 + deltaL, 1e-9);
    EXPECT_EQ(spectrum.EmisRef, acoustic::TEmisRef::PerUnit);
    EXPECT_EQ(comment, "Measured on site\r\n" + kSphereAt3m);
    // A comment that ends with a line break gets no empty line.
    ui.ExpectModal("Convert sound pressure to sound power", mrOk);
    comment = "first\r\n";
    ASSERT_TRUE(CalculateLwfromLp(ui, spectrum, comment));
    EXPECT_EQ(comment, "first\r\n" + kSphereAt3m);

    ui.ExpectModal("Convert sound pressure to sound power", [](TForm& f) {
        LpToLw(f).EditD->SetText("10");
        f.PressCancel();
        return mrNone;
    });
    spectrum = Measured();
    comment = "as measured";
    EXPECT_FALSE(CalculateLwfromLp(ui, spectrum, comment));
    EXPECT_EQ(spectrum.Values(), Measured().Values());
    EXPECT_EQ(spectrum.EmisRef, acoustic::TEmisRef::SoundPressure);
    EXPECT_EQ(comment, "as measured");
    acoustic::TEmisLibSpectrum empty;
    ui.ExpectMessage(mtError, "no levels to convert", mrOk);
    EXPECT_FALSE(CalculateLwfromLp(ui, empty, comment));
    EXPECT_EQ(empty.Values(), acoustic::TEmisLibSpectrum().Values());
    EXPECT_EQ(comment, "as measured");
}

TEST(CalculateAlphaFromFlowResistivity, OkFillsTheBandsRefusedOrCancelledLeavesThem) {
    test::TTestUi ui;
    ui.ExpectModal("Enter a flow resistivity", [](TForm& f) {
        auto& form = dynamic_cast<TFormCalculatealphavaluesfromflowresistivity&>(f);
        EXPECT_EQ(form.Sigma(), 250);
        form.EditSigma->SetValue(-3); // accepted by the entry ...
        f.PressDefault();
        return mrNone;
    });
    // ... and refused by the calculation.
    ui.ExpectMessage(mtError, "The flow resistivity must be greater than 0 kPas/m².", mrOk);
    ui.ExpectModal("Enter a flow resistivity", mrCancel);
    acoustic::TAbsoLibSpectrum spectrum;
    spectrum.SetBMinBMax(20, 30);
    spectrum.SetValue(30, 0.4);
    EXPECT_FALSE(CalculateAlphaFromFlowResistivity(ui, spectrum));
    EXPECT_FALSE(CalculateAlphaFromFlowResistivity(ui, spectrum));
    EXPECT_DOUBLE_EQ(spectrum.GetValue(30), 0.4);
    EXPECT_TRUE(IsEmptyBandLevel(spectrum.GetValue(20)));

    ui.ExpectModal("Enter a flow resistivity", [](TForm& f) {
        auto& form = dynamic_cast<TFormCalculatealphavaluesfromflowresistivity&>(f);
        form.EditSigma->SetValue(40);
        form.ButtonOK->Click();
        return mrNone;
    });
    ASSERT_TRUE(CalculateAlphaFromFlowResistivity(ui, spectrum));
    EXPECT_FLOAT_EQ(static_cast<float>(spectrum.GetValue(30)),
                    static_cast<float>(AbsorptionFromFlowResistivity(1000, 40)));
    EXPECT_FALSE(IsEmptyBandLevel(spectrum.GetValue(20)));
}

TEST(CalculateScatteringFromRoughness, ChosenClassSetsTheScattering) {
    test::TTestUi ui;
    ui.ExpectModal("Scattering coefficient from roughness", [](TForm& f) {
        auto& form = dynamic_cast<TFormScatteringFromRoughnessDlg&>(f);
        EXPECT_EQ(form.LBRoughness->Items(), (std::vector<std::string>{"< 1cm", "< 2cm", "< 5cm", "~ 10cm",
                                                                       "~ 20cm", "~ 50cm", "> 1m"}));
        form.LBRoughness->SetItemIndex(6);
        EXPECT_DOUBLE_EQ(form.Roughness(), 0.8);
        form.ButtonOK->Click();
        return mrNone;
    });
    ui.ExpectModal("Scattering coefficient from roughness", [](TForm& f) {
        f.Find<TListBox>("LBRoughness").SetItemIndex(0);
        f.PressCancel();
        return mrNone;
    });
    acoustic::TAbsoLibSpectrum spectrum;
    ASSERT_TRUE(CalculateScatteringFromRoughness(ui, spectrum));
    EXPECT_NEAR(spectrum.GetScatValue(30), 0.964, 0.0005);
    EXPECT_FALSE(CalculateScatteringFromRoughness(ui, spectrum));
    EXPECT_NEAR(spectrum.GetScatValue(30), 0.964, 0.0005);
}

// The statistical absorption coefficient written with the magnitude and phase of the impedance
// zeta = |zeta| e^(j phi) instead of the admittance's parts.
double AlphaFromMagnitudeAndPhase(std::complex<double> zeta) {
    const double m = std::abs(zeta);
    const double c = std::cos(std::arg(zeta));
    const double s = std::sin(std::arg(zeta));
    return 8.0 * c / m *
           (1.0 - c / m * std::log(1.0 + 2.0 * m * c + m * m) +
            std::cos(2.0 * std::arg(zeta)) / (m * s) * std::atan(m * s / (1.0 + m * c)));
}

TEST(DelanyBazley, ImpedanceAtOneKilohertz) {
    const std::complex<double> z = DelanyBazleyImpedance(1000, 250); // X = 4
    EXPECT_NEAR(z.real(), 4.21, 0.01);
    EXPECT_NEAR(z.imag(), 4.33, 0.01);
    // A denser layer (smaller X) departs further from air.
    EXPECT_GT(std::abs(DelanyBazleyImpedance(1000, 1000)), std::abs(z));
}

TEST(StatisticalAbsorption, AgreesWithTheImpedanceForm) {
    for (double sigma : {5.0, 50.0, 250.0, 2000.0}) {
        for (int band = 15; band <= 40; ++band) {
            const double f = ThirdOctaves[static_cast<std::size_t>(band)];
            const std::complex<double> z = DelanyBazleyImpedance(f, sigma);
            const double alpha = StatisticalAbsorption(z);
            EXPECT_NEAR(alpha, AlphaFromMagnitudeAndPhase(z), 1e-12) << sigma << " kPas/m², " << f << " Hz";
            // Below the locally reacting maximum of about 0.951.
            EXPECT_GT(alpha, 0.0);
            EXPECT_LT(alpha, 0.952);
            EXPECT_DOUBLE_EQ(AbsorptionFromFlowResistivity(f, sigma), alpha);
        }
    }
    // Sign of the imaginary part does not matter, a purely real one cannot be used.
    EXPECT_NEAR(StatisticalAbsorption({3.0, -2.0}), StatisticalAbsorption({3.0, 2.0}), 1e-15);
    EXPECT_THROW(StatisticalAbsorption({2.0, 0.0}), EKorvelError);
    EXPECT_THROW(StatisticalAbsorption({0.0, 0.0}), EKorvelError);
}

TEST(ApplyFlowResistivity, RefusesUnusableInputAndChangesNothing) {
    acoustic::TAbsoLibSpectrum spectrum;
    spectrum.SetBMinBMax(20, 25);
    spectrum.SetValue(20, 0.3);
    const acoustic::TBandValues before = spectrum.Values();
    for (double sigma : {0.0, -250.0, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_THAT([&] { ApplyFlowResistivity(spectrum, sigma); },
                    testing::ThrowsMessage<EKorvelError>(
                        testing::StrEq("The flow resistivity must be greater than 0 kPas/m².")))
            << sigma;
    }
    EXPECT_EQ(spectrum.Values(), before);
    EXPECT_THROW(DelanyBazleyImpedance(0.0, 250), EKorvelError);
    EXPECT_THROW(DelanyBazleyImpedance(-1000, 250), EKorvelError);
}

} // namespace
} // namespace korvel::calculators
