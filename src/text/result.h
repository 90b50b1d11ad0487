// A value, or the reason why there is none.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace text {

/// Why something could not be done, for people: without a capital at its
/// beginning or a full stop at its end, as it may follow a name and a colon.
struct Failure {
    std::string reason;
};

/// The one way in which our own functions say that something went wrong. What
/// is merely absent is a std::optional; what nobody can go on from is thrown.
template <typename T = std::monostate>
class [[nodiscard]] Result {
public:
    Result(T value) : m_content(std::in_place_index<0>, std::move(value)) {}
    Result(Failure failure) : m_content(std::in_place_index<1>, std::move(failure)) {}

    explicit operator bool() const { return m_content.index() == 0; }

    /// The value; only of one that is true.
    T& operator*() { return *std::get_if<0>(&m_content); }
    const T& operator*() const { return *std::get_if<0>(&m_content); }
    T* operator->() { return std::get_if<0>(&m_content); }
    const T* operator->() const { return std::get_if<0>(&m_content); }

    /// Why there is no value; only of one that is false.
    const std::string& reason() const { return std::get_if<1>(&m_content)->reason; }

private:
    std::variant<T, Failure> m_content;
};

/// Of something that has no value to give: done, or why not.
using Outcome = Result<>;

inline Outcome done()
{
    return std::monostate{};
}

} // namespace text
