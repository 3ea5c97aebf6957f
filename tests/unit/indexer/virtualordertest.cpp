// The order of the virtual operations is part of the interface: code that was built with it calls
// them by their position in the table.

#include "indexer/eventindexer.h"
#include "indexer/indexer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

// The virtual operations of both classes that declare new ones, made accessible.
class IndexerOperations : public KRIndex::Indexer {
public:
    using Indexer::DoAddDbRecords;
    using Indexer::GetFileRecIdSql;
    using Indexer::Init;
    using Indexer::InitTgtDirList;
    using Indexer::Log;
    using Indexer::ProcessFile;
    using Indexer::ProcessTgtDirs;
    using Indexer::RemoveUnrefRecs;
};

class EventIndexerOperations : public KRIndex::EventIndexer {
public:
    using EventIndexer::GetRecInfo;
    using EventIndexer::GetRecStoragePath;
    using EventIndexer::Init;
    using EventIndexer::Log;
};

// In this ABI, a pointer to a virtual operation contains its offset in the table plus one.
template <typename Operation> std::size_t SlotOf(Operation operation) {
    std::ptrdiff_t offsetPlusOne = 0;
    std::memcpy(&offsetPlusOne, &operation, sizeof offsetPlusOne);
    EXPECT_EQ(offsetPlusOne & 1, 1) << "not virtual";
    return static_cast<std::size_t>(offsetPlusOne - 1) / sizeof(void*);
}

TEST(VirtualOrderTest, BaseOperationsFollowTheTwoDestructors) {
    EXPECT_EQ(SlotOf(&IndexerOperations::Init), 2U);
    EXPECT_EQ(SlotOf(&IndexerOperations::ProcessTgtDirs), 3U);
    EXPECT_EQ(SlotOf(&IndexerOperations::InitTgtDirList), 4U);
    EXPECT_EQ(SlotOf(&IndexerOperations::GetFileRecIdSql), 5U);
    EXPECT_EQ(SlotOf(&IndexerOperations::RemoveUnrefRecs), 6U);
    EXPECT_EQ(SlotOf(&IndexerOperations::DoAddDbRecords), 7U);
    EXPECT_EQ(SlotOf(&IndexerOperations::ProcessFile), 8U);
    EXPECT_EQ(SlotOf(&IndexerOperations::Log), 9U);
}

TEST(VirtualOrderTest, RecordingOperationsFollowTheBaseOperations) {
    EXPECT_EQ(SlotOf(&EventIndexerOperations::Init), 2U);
    EXPECT_EQ(SlotOf(&EventIndexerOperations::Log), 9U);
    EXPECT_EQ(SlotOf(&EventIndexerOperations::GetRecStoragePath), 10U);
    EXPECT_EQ(SlotOf(&EventIndexerOperations::GetRecInfo), 11U);
}

} // namespace
