#include <gtest/gtest.h>

#include <random>

#include "progress/item_index.h"

namespace rampart::test {

namespace {

TEST(ItemNumbers, StayDenseThroughAnyOrderOfRemovals) {
    std::mt19937 random(7);
    ItemNumbering numbering;
    std::vector<int64_t> present;
    for (int step = 0; step < 3000; ++step) {
        if (present.empty() || random() % 3 != 0) {
            present.push_back(numbering.Append());
        } else {
            const size_t victim = random() % present.size();
            numbering.Remove(present[victim]);
            present.erase(present.begin() + static_cast<ptrdiff_t>(victim));
        }
        if (!present.empty()) {
            const size_t probe = random() % present.size();
            ASSERT_EQ(numbering.NumberOf(present[probe]), static_cast<int64_t>(probe));
        }
    }
}

TEST(ItemNumbers, CopyKeepsTheNumberOfItsMoment) {
    ItemNumbering numbering;
    numbering.Append();
    ItemNumber number;
    number.Follow(numbering, numbering.Append());
    const ItemNumber copy = number;
    numbering.Remove(0);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(copy, 1);
    number = 12;
    EXPECT_EQ(number, 12);
}

class ItemIndexTest : public testing::Test {
protected:
    void Add(CString const& path) {
        auto item = std::make_unique<TaskItemInfo>();
        item->m_strPath = path;
        m_index.Append(std::move(item));
    }
    __int64 NumberAt(POSITION position) { return static_cast<TaskItemInfo*>(m_items.GetAt(position))->m_id; }

    CPtrList m_items;
    ItemIndex m_index{m_items};
};

TEST_F(ItemIndexTest, SearchBeginsAtThePresentItemAndWraps) {
    for (LPCTSTR path : {_T("C:\\same"), _T("C:\\x"), _T("C:\\SAME"), _T("C:\\y")}) {
        Add(path);
    }
    const POSITION second = m_items.FindIndex(1);
    EXPECT_EQ(NumberAt(m_index.Find(_T("c:\\same"), nullptr)), 0);
    EXPECT_EQ(NumberAt(m_index.Find(_T("c:\\same"), second)), 2);
    EXPECT_EQ(NumberAt(m_index.Find(_T("c:\\same"), m_items.FindIndex(3))), 0);
    EXPECT_EQ(m_index.Find(_T("C:\\z"), second), nullptr);

    EXPECT_EQ(m_index.Take(m_items.FindIndex(2))->m_id, 2);
    EXPECT_EQ(NumberAt(m_index.Find(_T("c:\\same"), second)), 0);
}

// With a walk of the later items for each removal this would take a day.
TEST_F(ItemIndexTest, ItemsOfAMillionLeaveOneByOneAndTheRestStaysDense) {
    constexpr int kItems = 1000000;
    constexpr int kLeaving = 10;  // every tenth leaves
    const auto path = [](int number) {
        return CString::FromUtf8("C:\\folder\\file " + std::to_string(number));
    };
    for (int number = 0; number < kItems; ++number) {
        Add(path(number));
    }
    POSITION present = m_items.GetHeadPosition();
    for (int number = 0; number < kItems; number += kLeaving) {
        const POSITION found = m_index.Find(path(number), present);
        ASSERT_NE(found, nullptr);
        ASSERT_EQ(NumberAt(found), number - number / kLeaving);
        present = found;
        m_items.GetNext(present);
        m_index.Take(found);
    }
    EXPECT_EQ(m_items.GetCount(), kItems - kItems / kLeaving);
    EXPECT_EQ(NumberAt(m_items.GetHeadPosition()), 0);
    EXPECT_EQ(NumberAt(m_items.GetTailPosition()), m_items.GetCount() - 1);
}

TEST_F(ItemIndexTest, EmptiedListNumbersAnew) {
    Add(_T("a"));
    m_index.Take(m_items.GetHeadPosition());
    Add(_T("b"));
    EXPECT_EQ(NumberAt(m_index.Find(_T("b"), nullptr)), 0);
}

}  // namespace

}  // namespace rampart::test
