#include "framework/clist.h"

#include <list>
#include <random>

#include "framework/cptr_list.h"
#include "framework/cstring_list.h"
#include "print_text.h"

namespace {

std::vector<CString> Entries(const CStringList& list) {
    std::vector<CString> entries;
    for (POSITION position = list.GetHeadPosition(); position;) {
        entries.push_back(list.GetNext(position));
    }
    std::vector<CString> backwards;
    for (POSITION position = list.GetTailPosition(); position;) {
        backwards.insert(backwards.begin(), list.GetPrev(position));
    }
    EXPECT_EQ(entries, backwards);
    EXPECT_EQ(static_cast<size_t>(list.GetCount()), entries.size());
    return entries;
}

}  // namespace

TEST(List, WholeListsKeepTheirOrderAtBothEnds) {
    CStringList list;
    list.AddTail(_T("b"));
    CStringList front;
    front.AddTail(_T("x"));
    front.AddTail(_T("y"));
    list.AddHead(&front);
    list.AddTail(&front);
    EXPECT_EQ(Entries(list), (std::vector<CString>{_T("x"), _T("y"), _T("b"), _T("x"), _T("y")}));
    front.AddTail(&front);
    front.AddHead(&front);
    EXPECT_EQ(front.GetCount(), 8);
    EXPECT_EQ(Entries(front)[5], _T("y"));
}

TEST(List, PositionsSurviveTheRemovalOfOthers) {
    CStringList list;
    list.AddTail(_T("a"));
    const POSITION b = list.AddTail(_T("b"));
    list.AddTail(_T("c"));
    list.RemoveHead();
    list.RemoveTail();
    EXPECT_EQ(list.GetAt(b), _T("b"));
    list.InsertBefore(b, _T("before"));
    list.InsertAfter(b, _T("after"));
    list.InsertBefore(nullptr, _T("first"));
    list.InsertAfter(nullptr, _T("last"));
    list.SetAt(b, _T("B"));
    EXPECT_EQ(Entries(list),
              (std::vector<CString>{_T("first"), _T("before"), _T("B"), _T("after"), _T("last")}));
    // The usual loop that removes while it walks.
    for (POSITION position = list.GetHeadPosition(); position;) {
        const POSITION entry = position;
        if (list.GetNext(position).GetLength() == 5) {
            list.RemoveAt(entry);
        }
    }
    EXPECT_EQ(Entries(list), (std::vector<CString>{_T("before"), _T("B"), _T("last")}));
}

TEST(List, EmptyEndsAndNullPositionsThrow) {
    CStringList list;
    POSITION none = nullptr;
    EXPECT_THROW(list.RemoveHead(), CInvalidArgException);
    EXPECT_THROW(list.RemoveTail(), CInvalidArgException);
    EXPECT_THROW(list.GetHead(), CInvalidArgException);
    EXPECT_THROW(list.GetTail(), CInvalidArgException);
    EXPECT_THROW(list.GetNext(none), CInvalidArgException);
    EXPECT_THROW(list.GetAt(none), CInvalidArgException);
    EXPECT_THROW(list.RemoveAt(none), CInvalidArgException);
    EXPECT_EQ(list.FindIndex(0), nullptr);
}

TEST(List, FindGoesOnBehindAPosition) {
    int values[3] = {};
    CPtrList list(64);
    list.AddTail(&values[0]);
    list.AddTail(&values[1]);
    list.AddTail(&values[0]);
    const POSITION first = list.Find(&values[0]);
    EXPECT_EQ(first, list.GetHeadPosition());
    EXPECT_EQ(list.Find(&values[0], first), list.GetTailPosition());
    EXPECT_EQ(list.Find(&values[2]), nullptr);
    EXPECT_EQ(list.GetAt(list.FindIndex(1)), &values[1]);
    list.GetNext(const_cast<POSITION&>(first)) = &values[2];
    EXPECT_EQ(list.GetHead(), &values[2]);
}

TEST(List, AgreesWithAStandardListOverManyEdits) {
    std::mt19937 random(5);
    CList<int> list;
    std::list<int> plain;
    for (int step = 0; step < 20'000; ++step) {
        const int value = static_cast<int>(random() % 1000);
        const size_t place = plain.empty() ? 0 : random() % std::min<size_t>(plain.size(), 50);
        switch (random() % 5) {
            case 0:
                list.AddHead(value);
                plain.push_front(value);
                break;
            case 1:
                list.AddTail(value);
                plain.push_back(value);
                break;
            case 2:
                if (!plain.empty()) {
                    ASSERT_EQ(list.RemoveHead(), plain.front());
                    plain.pop_front();
                }
                break;
            case 3:
                if (!plain.empty()) {
                    list.RemoveAt(list.FindIndex(static_cast<intptr_t>(place)));
                    plain.erase(std::next(plain.begin(), static_cast<std::ptrdiff_t>(place)));
                }
                break;
            default:
                if (!plain.empty()) {
                    list.InsertAfter(list.FindIndex(static_cast<intptr_t>(place)), value);
                    plain.insert(std::next(plain.begin(), static_cast<std::ptrdiff_t>(place) + 1), value);
                }
                break;
        }
    }
    ASSERT_TRUE(std::equal(list.begin(), list.end(), plain.begin(), plain.end()));
    CList<int> taken = std::move(list);
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(static_cast<size_t>(taken.GetCount()), plain.size());
    taken.RemoveAll();
    EXPECT_EQ(taken.begin(), taken.end());
    taken.AddTail(1);
    EXPECT_EQ(taken.GetHead(), 1);
}

TEST(List, AMillionTextsComeAndGo) {
    const CString text(_T("C:\\some\\path\\that\\all\\share"));
    CStringList list;
    for (int count = 0; count < 1'000'000; ++count) {
        list.AddTail(text);
    }
    int shared = 0;
    for (const CString& entry : list) {
        shared += entry.GetString() == text.GetString();
    }
    EXPECT_EQ(shared, 1'000'000);
}
