#include "tools/krctl/plan/itemlist.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

plan::Note ItemOf(const std::string& path, plan::Reason reason = plan::Reason::FileWithoutRow) {
    plan::Note item;
    item.reason = reason;
    item.kind = "event";
    item.camId = 3;
    item.text = path;
    item.number = 17;
    return item;
}

std::vector<std::string> SortedPaths(const std::vector<std::string>& paths) {
    ItemList items;
    for (const std::string& path : paths) {
        items.Add(ItemOf(path));
    }
    std::vector<std::string> sorted;
    items.ForEachByPath([&](const plan::Note& item) { sorted.push_back(item.text); });
    return sorted;
}

TEST(ItemList, IsInTheByteOrderOfWholePaths) {
    std::vector<std::string> paths{
        "/a/b/c", "/a/b.mp4", "/a/b!/c",  "/a/b0/c", "/a/b", "/a/\xff", "gone.png", "/a/b/",
        "/b",     "/",        "/a/bc/de", "/a/B/c",  "",     "/a/b/c",  "/a/b/d/e", "/a"};

    std::vector<std::string> expected = paths;
    std::sort(expected.begin(), expected.end());
    EXPECT_THAT(SortedPaths(paths), ElementsAreArray(expected));
}

TEST(ItemList, KeepsTheOrderOfItemsWithOnePathAndEachField) {
    ItemList items;
    items.Add(ItemOf("/a/b", plan::Reason::Damaged));
    items.Add(ItemOf("/a/b", plan::Reason::FileWithoutRow));

    std::vector<plan::Reason> reasons;
    items.ForEachByPath([&](const plan::Note& item) {
        reasons.push_back(item.reason);
        EXPECT_EQ(item.kind, "event");
        EXPECT_EQ(item.camId, 3);
        EXPECT_EQ(item.number, 17);
    });
    EXPECT_THAT(reasons, ElementsAre(plan::Reason::Damaged, plan::Reason::FileWithoutRow));
}

TEST(ItemList, KeepsNamesThatAreLongerThanABlock) {
    const std::string longName(3U << 20U, 'x');
    EXPECT_THAT(SortedPaths({"/a/y", "/a/" + longName, "/a/b"}),
                ElementsAre("/a/b", "/a/" + longName, "/a/y"));
}

} // namespace
