// Word: an atomic with the interface of a plain integer, pointer, enumerator or date (a small value), for
// fields that threads share.
#pragma once

#include <atomic>
#include <type_traits>

namespace rampart {

// Every read and write is atomic by itself and ordered like all others of this kind; `word = word + 1` is two
// of them,
// `++word` and `word += 1` are one.
template <class Type>
class Word {
public:
    Word() = default;
    Word(Type value) : m_value(value) {}
    Word(const Word& other) : m_value(other.Get()) {}
    Word& operator=(const Word& other) {
        m_value.store(other.Get());
        return *this;
    }
    Type operator=(Type value) {
        m_value.store(value);
        return value;
    }

    operator Type() const { return m_value.load(); }
    Type operator->() const requires std::is_pointer_v<Type> { return m_value.load(); }
    Type Get() const { return m_value.load(); }
    Type Exchange(Type value) { return m_value.exchange(value); }
    // Stores `value` if the word holds `expected`; true if it did.
    bool Replace(Type expected, Type value) { return m_value.compare_exchange_strong(expected, value); }

    Type operator++() { return m_value.fetch_add(1) + 1; }
    Type operator--() { return m_value.fetch_sub(1) - 1; }
    Type operator++(int) { return m_value.fetch_add(1); }
    Type operator--(int) { return m_value.fetch_sub(1); }
    template <class Change>
    Type operator+=(Change change) {
        return m_value.fetch_add(change) + change;
    }
    template <class Change>
    Type operator-=(Change change) {
        return m_value.fetch_sub(change) - change;
    }
    Type operator|=(Type bits) { return m_value.fetch_or(bits) | bits; }
    Type operator&=(Type bits) { return m_value.fetch_and(bits) & bits; }

private:
    std::atomic<Type> m_value{Type{}};
};

}  // namespace rampart
