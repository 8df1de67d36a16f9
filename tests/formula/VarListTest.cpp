#include "platform/formula/VarList.h"

#include "platform/Errors.h"
#include "platform/formula/Interpreter.h"

#include <gtest/gtest.h>
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

TEST(VarList, LooksUpNamesIgnoringAsciiCaseDeletesByIndexAndNamesResultTypes) {
    TVarList list = SampleList();
    EXPECT_EQ(list.IndexOf("lw"), 2);
    EXPECT_EQ(list.IndexOf("CNT"), 3);
    EXPECT_EQ(list.IndexOf("L"), -1);
    EXPECT_EQ(list.IndexOf("Lw "), -1);
    ASSERT_NE(list.Find("k"), nullptr);
    EXPECT_EQ(list.Find("k")->BandValues.size(), 4u);
    EXPECT_EQ(std::as_const(list).Find("nothing"), nullptr);

    list.Delete(1);
    EXPECT_EQ(list.Count(), 3);
    EXPECT_EQ(list.IndexOf("K"), -1);
    EXPECT_EQ(list.IndexOf("Lw"), 1);
    EXPECT_THROW(list.Delete(3), EKorvelError);
    EXPECT_THROW(list.Delete(-1), EKorvelError);
    EXPECT_EQ(list.Count(), 3);

    // Result types have names when the type box offers them, and Boolean; unknown ones have none.
    for (TResType t : OfferedResTypes)
        EXPECT_FALSE(ResTypeStr(t).empty()) << static_cast<int>(t);
    EXPECT_EQ(ResTypeStr(TResType::Boolean), "Boolean");
    for (int t : {0, 4, 5, 9, 255})
        EXPECT_TRUE(ResTypeStr(static_cast<TResType>(t)).empty()) << t;
}

TEST(VarListBlob, RoundTripsAndReadsTheDocumentedLayout) {
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
}

TEST(VarListBlob, DamagedBlobsThrowAndKeepTheList) {
    const TBlob good = SampleList().ToBlob();
    auto expectRefused = [&](const TBlob& blob, std::string_view fragment, const std::string& what) {
        TVarList list;
        list.Add({"keep", "", "", 1, TVarFlag::User, TResType::Real, {}});
        const TVarList before = list;
        try {
            list.FromBlob(blob);
            ADD_FAILURE() << what << " was accepted";
        } catch (const EKorvelError& e) {
            EXPECT_NE(std::string(e.what()).find(fragment), std::string::npos) << what << ": " << e.what();
        }
        EXPECT_EQ(list, before) << what;
    };
    // Every cut of a valid blob, except the empty one, is refused.
    for (std::size_t len = 1; len < good.size(); ++len)
        expectRefused(TBlob(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(len)), "damaged",
                      "cut to " + std::to_string(len));
    TBlob longer = good;
    longer.push_back(0);
    expectRefused(longer, "unexpected bytes", "one byte too many");

    TBlob version = good;
    version[0] = 2;
    expectRefused(version, "version 2", "version");

    TBlob count = good;
    count[2] = count[3] = count[4] = count[5] = 0xFF;
    expectRefused(count, "4294967295 variables", "huge count");

    auto oneVar = [](std::string_view name, std::uint8_t flag, std::uint8_t type) {
        TBlobWriter w;
        w.U16(1).U32(1).U16(static_cast<std::uint16_t>(name.size())).Bytes(AsBytes(name)).U16(0).U16(0);
        w.F64(0).U8(flag).U8(type).U16(0);
        return w.Blob();
    };
    expectRefused(oneVar("x", 2, 2), "unknown flag 2", "flag");
    expectRefused(oneVar("x", 1, 4), "unknown result type 4", "result type");
    expectRefused(oneVar("\xC3\x28", 1, 2), "UTF-8", "broken UTF-8");
}

TEST(PreDefinedVars, OffersInputsLocalsAndTheOutputOfTheEntryType) {
    const TVarList in = GetPreDefinedVars(TVarFlag::Input, false, "");
    const TVarList local = GetPreDefinedVars(TVarFlag::Local, false, "");
    ASSERT_TRUE(in.Find("n") && in.Find("P") && local.Find("K"));
    EXPECT_EQ(
        std::tuple(in.Find("n")->ResType, in.Find("P")->Unit, in.Find("P")->Flag, local.Find("K")->Flag),
        std::tuple(TResType::Integer, "kW", TVarFlag::Input, TVarFlag::Local));

    // The output is named by the entry type; its unit is the one given, plain dB without.
    const TVarList lw = GetPreDefinedVars(TVarFlag::Output, false, "dB(A)/Lw/unit");
    const TVarList lwf = GetPreDefinedVars(TVarFlag::Output, true, "");
    ASSERT_EQ(std::pair(lw.Count(), lwf.Count()), std::pair(1, 1));
    auto nameUnitFlag = [](const TVariable& v) {
        return std::tuple(v.Name, v.Unit, v.Flag);
    };
    EXPECT_EQ(nameUnitFlag(lw.Items[0]), std::tuple("Lw", "dB(A)/Lw/unit", TVarFlag::Output));
    EXPECT_EQ(nameUnitFlag(lwf.Items[0]), std::tuple("Lwf", "dB", TVarFlag::Output));
    EXPECT_EQ(GetPreDefinedVars(TVarFlag::User, false, "").Count(), 0);

    // All offered names together are usable in one formula: valid, distinct ignoring case, no function names.
    TInterpreter ip;
    EXPECT_NO_THROW({
        ip.Declare(in, TVarKind::Input);
        ip.Declare(local, TVarKind::Local);
        ip.Declare(lw, TVarKind::Output);
    });
}

} // namespace
} // namespace korvel::formula
