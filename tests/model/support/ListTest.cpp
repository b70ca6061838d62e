#include "model/support/List.h"

#include <gtest/gtest.h>

#include <vector>

using Vorn::Comparer;
using Vorn::List;

namespace {

struct Item {
    int key;
    int tag;
};

class ByKey : public Comparer<Item> {
public:
    int Compare(const Item* a, const Item* b) override {
        ++calls;
        return (a->key > b->key) - (a->key < b->key);
    }
    int calls = 0;
};

void Fill(List<int>& list, int count) {
    for (int i = 0; i < count; ++i) {
        list.Add(i * 10);
    }
}

// Every node's index, links and item agree with a walk from the head.
void ExpectConsistent(List<int>& list, const std::vector<int>& expected) {
    ASSERT_EQ(list.Count(), static_cast<int>(expected.size()));
    int index = 0;
    auto* previous = static_cast<List<int>::Node*>(nullptr);
    for (auto* node = list.Head(); node != nullptr; node = node->next, ++index) {
        EXPECT_EQ(node->index, index);
        EXPECT_EQ(node->previous, previous);
        EXPECT_EQ(*node->item, expected[static_cast<size_t>(index)]);
        previous = node;
    }
    EXPECT_EQ(list.Tail(), previous);
    for (int i = 0; i < list.Count(); ++i) {
        EXPECT_EQ(*list.GetItemPointer(i), expected[static_cast<size_t>(i)]);
    }
}

} // namespace

TEST(ListCursor, EveryIndexFromEitherEndAndOutOfRangeGivesNull) {
    List<int> list;
    EXPECT_EQ(list.GetNode(0), nullptr);
    Fill(list, 100);
    for (int i : {90, 2, 99, 0, 50, 51, 49}) {
        ASSERT_EQ(*list.GetNode(i)->item, i * 10) << i;
    }
    EXPECT_EQ(list.GetNode(100), nullptr);
    EXPECT_EQ(list.GetNode(-1), nullptr);
}

TEST(ListRemove, RemovingTheCursorNodeMovesCursorToTheNextNode) {
    List<int> list;
    Fill(list, 5);
    list.GetNode(2);
    list.RemoveAt(2);
    ASSERT_NE(list.Cursor(), nullptr);
    EXPECT_EQ(*list.Cursor()->item, 30);
    EXPECT_EQ(list.Cursor()->index, 2);
    ExpectConsistent(list, {0, 10, 30, 40});

    list.RemoveAt(3); // the tail: the cursor falls back to the previous node
    EXPECT_EQ(*list.Cursor()->item, 30);
    ExpectConsistent(list, {0, 10, 30});
    list.RemoveAt(0);
    ExpectConsistent(list, {10, 30});
    list.RemoveAt(7);
    ExpectConsistent(list, {10, 30});
    list.RemoveAt(0);
    list.RemoveAt(0);
    EXPECT_EQ(list.Head(), nullptr);
    EXPECT_EQ(list.Tail(), nullptr);
    EXPECT_EQ(list.Cursor(), nullptr);
    list.Add(7);
    ExpectConsistent(list, {7});
}

TEST(ListSort, BubbleAndMergeSortsAreStable) {
    for (int count : {1, 2, 10, 64, 65, 500}) {
        List<Item> list;
        for (int i = 0; i < count; ++i) {
            list.Add({(i * 7919) % 5, i});
        }
        ByKey comparer;
        list.Sort(comparer);
        if (count == 1) {
            EXPECT_EQ(comparer.calls, 0);
        }
        for (int i = 1; i < count; ++i) {
            const Item* a = list.GetItemPointer(i - 1);
            const Item* b = list.GetItemPointer(i);
            ASSERT_TRUE(a->key < b->key || (a->key == b->key && a->tag < b->tag)) << count << " at " << i;
        }
    }
}

TEST(ListClear, ResetsAllFieldsAndFreesItems) {
    List<int> list;
    Fill(list, 10);
    list.GetNode(5);
    list.Clear();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.Head(), nullptr);
    EXPECT_EQ(list.Cursor(), nullptr);
    Fill(list, 3);
    ExpectConsistent(list, {0, 10, 20});
}
