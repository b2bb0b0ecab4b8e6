// CList: the doubly linked list behind CStringList and CPtrList.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "framework/cexception.h"
#include "framework/types.h"

// Keeps insertion order. A position stays valid until its own entry is removed. Not for use by several
// threads at once. A null position where an entry is needed, and the head or tail of an empty list, throw
// CInvalidArgException. Entries live in blocks that grow with the list and are given back by RemoveAll.
template <class Type, class Argument = const Type&>
class CList {
    struct Node {
        Node* next;
        Node* previous;
        alignas(Type) std::byte storage[sizeof(Type)];

        Type& Value() { return *std::launder(reinterpret_cast<Type*>(storage)); }
    };

public:
    // The block size has no effect.
    explicit CList(intptr_t blockSize = 10) { static_cast<void>(blockSize); }
    CList(const CList&) = delete;
    CList& operator=(const CList&) = delete;
    CList(CList&& other) noexcept { Swap(other); }
    CList& operator=(CList&& other) noexcept {
        CList taken(std::move(other));
        Swap(taken);
        return *this;
    }
    ~CList() { RemoveAll(); }

    // Exchanges the entries; positions move with them.
    void Swap(CList& other) noexcept {
        std::swap(m_head, other.m_head);
        std::swap(m_tail, other.m_tail);
        std::swap(m_free, other.m_free);
        std::swap(m_count, other.m_count);
        m_blocks.swap(other.m_blocks);
    }

    intptr_t GetCount() const { return m_count; }
    intptr_t GetSize() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }

    Type& GetHead() { return Entry(m_head).Value(); }
    const Type& GetHead() const { return Entry(m_head).Value(); }
    Type& GetTail() { return Entry(m_tail).Value(); }
    const Type& GetTail() const { return Entry(m_tail).Value(); }
    Type RemoveHead() { return Take(Entry(m_head)); }
    Type RemoveTail() { return Take(Entry(m_tail)); }

    POSITION AddHead(Argument value) { return Link(value, nullptr, m_head); }
    POSITION AddTail(Argument value) { return Link(value, m_tail, nullptr); }
    // All entries of another list, which is left as it is, in their order in front of or behind those that
    // are here.
    void AddHead(const CList* list) {
        Node* source = list->m_tail;
        for (intptr_t left = list->m_count; left > 0; --left, source = source->previous) {
            AddHead(source->Value());
        }
    }
    void AddTail(const CList* list) {
        Node* source = list->m_head;
        for (intptr_t left = list->m_count; left > 0; --left, source = source->next) {
            AddTail(source->Value());
        }
    }
    void RemoveAll() {
        for (Node* node = m_head; node; node = node->next) {
            node->Value().~Type();
        }
        m_head = m_tail = m_free = nullptr;
        m_count = 0;
        m_blocks.clear();
    }

    POSITION GetHeadPosition() const { return ToPosition(m_head); }
    POSITION GetTailPosition() const { return ToPosition(m_tail); }
    // Return the entry and move the position to the next or the previous one, or to null behind the last.
    Type& GetNext(POSITION& position) {
        Node& node = Entry(position);
        position = ToPosition(node.next);
        return node.Value();
    }
    const Type& GetNext(POSITION& position) const { return const_cast<CList*>(this)->GetNext(position); }
    Type& GetPrev(POSITION& position) {
        Node& node = Entry(position);
        position = ToPosition(node.previous);
        return node.Value();
    }
    const Type& GetPrev(POSITION& position) const { return const_cast<CList*>(this)->GetPrev(position); }

    Type& GetAt(POSITION position) { return Entry(position).Value(); }
    const Type& GetAt(POSITION position) const { return Entry(position).Value(); }
    void SetAt(POSITION position, Argument value) { Entry(position).Value() = value; }
    void RemoveAt(POSITION position) { Take(Entry(position)); }
    // A null position means the head for InsertBefore and the tail for InsertAfter.
    POSITION InsertBefore(POSITION position, Argument value) {
        return position ? Link(value, Entry(position).previous, ToNode(position)) : AddHead(value);
    }
    POSITION InsertAfter(POSITION position, Argument value) {
        return position ? Link(value, ToNode(position), Entry(position).next) : AddTail(value);
    }

    // The first equal entry behind `startAfter`, or from the head if that is null; null if there is none.
    POSITION Find(Argument value, POSITION startAfter = nullptr) const {
        for (Node* node = startAfter ? ToNode(startAfter)->next : m_head; node; node = node->next) {
            if (node->Value() == value) {
                return ToPosition(node);
            }
        }
        return nullptr;
    }
    // The entry with this number, counted from 0; null if there is none.
    POSITION FindIndex(intptr_t index) const {
        if (index < 0 || index >= m_count) {
            return nullptr;
        }
        Node* node = m_head;
        while (index-- > 0) {
            node = node->next;
        }
        return ToPosition(node);
    }

    // For range-based loops, in list order. The entry that a loop stands on must not be removed in it.
    template <class Value>
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Type;
        using difference_type = std::ptrdiff_t;
        using pointer = Value*;
        using reference = Value&;

        Iterator() = default;
        explicit Iterator(Node* node) : m_node(node) {}
        Value& operator*() const { return m_node->Value(); }
        Value* operator->() const { return &m_node->Value(); }
        Iterator& operator++() {
            m_node = m_node->next;
            return *this;
        }
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator&) const = default;

    private:
        Node* m_node = nullptr;
    };
    Iterator<Type> begin() { return Iterator<Type>(m_head); }
    Iterator<Type> end() { return Iterator<Type>(); }
    Iterator<const Type> begin() const { return Iterator<const Type>(m_head); }
    Iterator<const Type> end() const { return Iterator<const Type>(); }

private:
    static constexpr size_t kFirstBlock = 4;
    static constexpr size_t kLargestBlock = 1024;

    static POSITION ToPosition(Node* node) { return reinterpret_cast<POSITION>(node); }
    static Node* ToNode(POSITION position) { return reinterpret_cast<Node*>(position); }
    static Node& Entry(Node* node) {
        if (!node) {
            AfxThrowInvalidArgException();
        }
        return *node;
    }
    static Node& Entry(POSITION position) { return Entry(ToNode(position)); }

    POSITION Link(Argument value, Node* previous, Node* next) {
        if (!m_free) {
            AddBlock();
        }
        Node* node = m_free;
        Node* restOfFree = node->next;
        ::new (static_cast<void*>(node->storage)) Type(value);
        m_free = restOfFree;
        node->previous = previous;
        node->next = next;
        (previous ? previous->next : m_head) = node;
        (next ? next->previous : m_tail) = node;
        ++m_count;
        return ToPosition(node);
    }

    Type Take(Node& node) {
        Type value = std::move(node.Value());
        (node.previous ? node.previous->next : m_head) = node.next;
        (node.next ? node.next->previous : m_tail) = node.previous;
        node.Value().~Type();
        node.next = m_free;
        m_free = &node;
        --m_count;
        return value;
    }

    void AddBlock() {
        const size_t size = std::min(kLargestBlock, kFirstBlock << std::min<size_t>(m_blocks.size(), 16));
        m_blocks.push_back(std::unique_ptr<Node[]>(new Node[size]));
        Node* block = m_blocks.back().get();
        for (size_t index = size; index-- > 0;) {
            block[index].next = m_free;
            m_free = &block[index];
        }
    }

    Node* m_head = nullptr;
    Node* m_tail = nullptr;
    Node* m_free = nullptr;
    intptr_t m_count = 0;
    std::vector<std::unique_ptr<Node[]>> m_blocks;
};
