#include "platform/acoustic/AddProp.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"

#include <gtest/gtest.h>

namespace korvel::acoustic {
namespace {

TEST(AddProp, BlobRoundTripAndDamage) {
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
}

TEST(AddProp, EnsureRemoveDefinitionsPerKindAndTypedCharacters) {
    TAddPropList list;
    list.Ensure(kMassPerArea, "0");
    list.Ensure("massperarea", "5"); // names ignore case
    ASSERT_EQ(list.Items.size(), 1u);
    EXPECT_EQ(list.Items[0].Value, "0");
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

    EXPECT_TRUE(AddPropCharAllowed(TAddPropType::Integer, '-'));
    EXPECT_TRUE(AddPropCharAllowed(TAddPropType::Integer, '7'));
    EXPECT_FALSE(AddPropCharAllowed(TAddPropType::Integer, '.'));
    EXPECT_TRUE(AddPropCharAllowed(TAddPropType::Float, ',', ','));
    EXPECT_FALSE(AddPropCharAllowed(TAddPropType::Float, 'e'));
    EXPECT_TRUE(AddPropCharAllowed(TAddPropType::Float, '\b')); // control characters pass
    EXPECT_TRUE(AddPropCharAllowed(TAddPropType::Text, 'x'));
}

} // namespace
} // namespace korvel::acoustic
