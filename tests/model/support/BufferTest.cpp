#include "model/support/Guid.h"
#include "model/support/HandleSource.h"
#include "model/support/List.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

TEST(GuidParser, WindowsLayoutAndRefusals) {
    Vorn::Guid guid;
    ASSERT_TRUE(Vorn::ParseGuid("{508C3FE8-0034-4216-8E06-0020b1619331}", &guid));
    EXPECT_EQ(guid.data1, 0x508C3FE8u);
    EXPECT_EQ(guid.data2, 0x0034);
    EXPECT_EQ(guid.data3, 0x4216);
    const uint8_t tail[8] = {0x8E, 0x06, 0x00, 0x20, 0xB1, 0x61, 0x93, 0x31};
    EXPECT_EQ(std::memcmp(guid.data4, tail, 8), 0);
    EXPECT_FALSE(Vorn::ParseGuid("508C3FE8-0034-4216-8E06-0020B1619331", &guid));
    EXPECT_FALSE(Vorn::ParseGuid("{508C3FE8-0034-4216-8E06-0020B161933G}", &guid));
    EXPECT_FALSE(Vorn::ParseGuid("{508C3FE8-0034-4216-8E0600-20B1619331}", &guid));
    EXPECT_EQ(guid.data1, 0u);
}

TEST(HandleSource, ReleasedHandlesResolveToNullAndAreNotReusedSoon) {
    int object = 0;
    std::set<int> seen;
    int first = Vorn::HandleSource::Create(&object);
    EXPECT_NE(first, 0);
    EXPECT_EQ(Vorn::HandleSource::Get(first), &object);
    Vorn::HandleSource::Destroy(first);
    EXPECT_EQ(Vorn::HandleSource::Get(first), nullptr);
    Vorn::HandleSource::Destroy(first); // twice is harmless
    seen.insert(first);
    for (int i = 0; i < 1000; ++i) {
        int handle = Vorn::HandleSource::Create(&object);
        ASSERT_GT(handle, 0);
        ASSERT_TRUE(seen.insert(handle).second) << "handle reused after " << i << " releases";
        Vorn::HandleSource::Destroy(handle);
    }
    EXPECT_EQ(Vorn::HandleSource::Get(0), nullptr);
    EXPECT_EQ(Vorn::HandleSource::Get(-5), nullptr);
    EXPECT_EQ(Vorn::HandleSource::Get(0x7FFFFFFF), nullptr);
}

// Short lists are bubble sorted, long ones merge sorted; both keep items of equal keys in their order,
// as frames of one time keep the order their cameras were read in.
TEST(ListSort, BubbleAndMergeSortsAreStable) {
    struct Item {
        int key;
        int tag;
    };
    struct ByKey : Vorn::Comparer<Item> {
        int Compare(const Item* a, const Item* b) override { return (a->key > b->key) - (a->key < b->key); }
    };
    for (int count : {10, 500}) {
        Vorn::List<Item> list;
        for (int i = 0; i < count; ++i) {
            list.Add({(i * 7919) % 5, i});
        }
        ByKey comparer;
        list.Sort(comparer);
        for (int i = 1; i < count; ++i) {
            const Item* a = list.GetItemPointer(i - 1);
            const Item* b = list.GetItemPointer(i);
            ASSERT_TRUE(a->key < b->key || (a->key == b->key && a->tag < b->tag)) << count << " at " << i;
        }
    }
}
