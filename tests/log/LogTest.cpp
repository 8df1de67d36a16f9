#include "platform/log/Log.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(LogTest, EntriesCountersAndTheCancelFlagAreKeptAndHeardUntilTheObserverIsRemoved) {
    TLog log;
    std::vector<TLogChange> seen;
    const int id = log.AddObserver([&](const TLog&, TLogChange c) { seen.push_back(c); });
    const auto before = std::chrono::system_clock::now();
    log.AddInformation("Import of \"Emis.abs\"");
    log.AddError("Unable to read directivity for element No. #7");
    const auto after = std::chrono::system_clock::now();
    ASSERT_EQ(log.Entries().size(), 2u);
    EXPECT_EQ(log.Entries()[0].Text, "Import of \"Emis.abs\"");
    EXPECT_EQ(log.Entries()[1].Kind, TLogKind::Error);
    for (const TLogEntry& e : log.Entries())
        EXPECT_TRUE(before <= e.Time && e.Time <= after);
    EXPECT_EQ(std::pair(log.InformationCount(), log.ErrorCount()), std::pair(1, 1));

    // Each import of a batch counts its own messages: the counters reset, the entries stay.
    log.ResetCounters();
    EXPECT_FALSE(log.HasMessages());
    EXPECT_EQ(log.Entries().size(), 2u);
    // The Cancel button sets a flag the work loop asks between records; Clear resets everything.
    log.Cancel();
    EXPECT_TRUE(log.Cancelled());
    log.ResetCancel();
    EXPECT_FALSE(log.Cancelled());
    log.SetProgress(40);
    log.SetProgress(40); // unchanged: no notification
    log.Cancel();
    log.Clear();
    EXPECT_EQ(std::tuple(log.Entries().size(), log.Progress(), log.Cancelled()), std::tuple(0u, 0, false));
    using enum TLogChange;
    EXPECT_EQ(seen, (std::vector<TLogChange>{EntryAdded, EntryAdded, CountersReset, Cancel, Cancel, Progress,
                                             Cancel, Cleared}));
    log.RemoveObserver(id);
    log.AddError("b");
    EXPECT_EQ(seen.size(), 8u);
}

TEST(LogTest, ProgressIsClampedAndRounded) {
    TLog log;
    log.SetProgress(150);
    EXPECT_EQ(log.Progress(), 100);
    log.SetProgress(-5);
    EXPECT_EQ(log.Progress(), 0);
    constexpr long long kHuge = 9'000'000'000'000'000'000LL;
    // 12.5 % rounds up; nothing to do is no progress; more done than planned is all.
    for (auto [done, total, percent] : {std::tuple{1LL, 3LL, 33},
                                        {1LL, 8LL, 13},
                                        {2LL, 3LL, 67},
                                        {5LL, 0LL, 0},
                                        {kHuge, kHuge, 100},
                                        {12LL, 10LL, 100}}) {
        log.SetProgressOf(done, total);
        EXPECT_EQ(log.Progress(), percent) << done << " of " << total;
    }
}

} // namespace
} // namespace korvel
