#include "platform/log/Log.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(LogTest, EntriesKeepTextKindOrderAndTime) {
    TLog log;
    const auto before = std::chrono::system_clock::now();
    log.AddInformation("Import of \"Emis.abs\"");
    log.AddError("Unable to read directivity for element No. #7");
    log.AddInformation("Schöne Grüße");
    const auto after = std::chrono::system_clock::now();

    ASSERT_EQ(log.Entries().size(), 3u);
    EXPECT_EQ(log.Entries()[0].Text, "Import of \"Emis.abs\"");
    EXPECT_EQ(log.Entries()[1].Kind, TLogKind::Error);
    EXPECT_EQ(log.Entries()[2].Text, "Schöne Grüße");
    EXPECT_EQ(log.InformationCount(), 2);
    EXPECT_EQ(log.ErrorCount(), 1);
    for (const TLogEntry& e : log.Entries()) {
        EXPECT_LE(before, e.Time);
        EXPECT_LE(e.Time, after);
    }
}

TEST(LogTest, CountersResetIndependentlyOfEntriesAndClearResetsAll) {
    TLog log;
    EXPECT_FALSE(log.HasMessages());
    log.AddError("bad record");
    EXPECT_TRUE(log.HasMessages());
    log.ResetCounters();
    EXPECT_FALSE(log.HasMessages());
    EXPECT_EQ(log.Entries().size(), 1u);

    log.AddInformation("x");
    log.SetProgress(40);
    log.Cancel();
    log.Clear();
    EXPECT_TRUE(log.Entries().empty());
    EXPECT_EQ(log.InformationCount(), 0);
    EXPECT_EQ(log.Progress(), 0);
    EXPECT_FALSE(log.Cancelled());
}

TEST(LogTest, ProgressIsClampedAndRounded) {
    TLog log;
    log.SetProgress(150);
    EXPECT_EQ(log.Progress(), 100);
    log.SetProgress(-5);
    EXPECT_EQ(log.Progress(), 0);
    log.SetProgressOf(1, 3);
    EXPECT_EQ(log.Progress(), 33);
    log.SetProgressOf(1, 8); // 12.5 rounds up
    EXPECT_EQ(log.Progress(), 13);
    log.SetProgressOf(2, 3);
    EXPECT_EQ(log.Progress(), 67);
    log.SetProgressOf(5, 0);
    EXPECT_EQ(log.Progress(), 0);
    log.SetProgressOf(9'000'000'000'000'000'000LL, 9'000'000'000'000'000'000LL);
    EXPECT_EQ(log.Progress(), 100);
    log.SetProgressOf(12, 10);
    EXPECT_EQ(log.Progress(), 100);
}

TEST(LogTest, CancelFlagStopsALoopBetweenRecords) {
    TLog log;
    int processed = 0;
    for (int record = 0; record < 10 && !log.Cancelled(); ++record) {
        ++processed;
        if (record == 3) {
            log.Cancel(); // what the Cancel button does while the loop runs
        }
    }
    EXPECT_EQ(processed, 4);
    log.ResetCancel();
    EXPECT_FALSE(log.Cancelled());
}

TEST(LogTest, ObserversSeeChangesUntilRemoved) {
    TLog log;
    std::vector<TLogChange> seen;
    const int id = log.AddObserver([&](const TLog& l, TLogChange c) {
        seen.push_back(c);
        EXPECT_EQ(&l, &log);
    });
    log.AddInformation("a");
    log.SetProgress(10);
    log.SetProgress(10); // unchanged: no notification
    log.Cancel();
    log.ResetCounters();
    log.Clear();
    EXPECT_EQ(seen, (std::vector<TLogChange>{TLogChange::EntryAdded, TLogChange::Progress, TLogChange::Cancel,
                                             TLogChange::CountersReset, TLogChange::Cleared}));
    log.RemoveObserver(id);
    log.AddError("b");
    EXPECT_EQ(seen.size(), 5u);
}

TEST(LogTest, ObserverRemovedDuringNotificationIsNotCalledAgain) {
    TLog log;
    int secondCalls = 0;
    int secondId = 0;
    log.AddObserver([&](const TLog&, TLogChange) { log.RemoveObserver(secondId); });
    secondId = log.AddObserver([&](const TLog&, TLogChange) { ++secondCalls; });
    log.AddInformation("a");
    EXPECT_EQ(secondCalls, 0);
}

TEST(ImportSummaryTest, TextsFollowTheCounts) {
    EXPECT_EQ(ImportSummary(-1, 0), "");
    EXPECT_EQ(ImportSummary(0, 0), "0 elements imported");
    EXPECT_EQ(ImportSummary(12, 0), "12 elements imported");
    EXPECT_EQ(ImportSummary(12, 3), "12 elements imported, 3 element names are duplicate");
    EXPECT_EQ(ImportSummary(0, 1), "0 elements imported, 1 element names are duplicate");
}

} // namespace
} // namespace korvel
