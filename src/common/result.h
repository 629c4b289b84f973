#pragma once

#include <QString>

#include <concepts>
#include <utility>
#include <variant>

namespace MGImport8 {

/// The error half of a `Result`: the text the user will read.
struct Error
{
    QString message;
};

/// An expected failure as a value: either a `T` or the `E` that says what went wrong. A layer
/// whose failures carry more than a message (a number the messages choose by) names its own `E`.
template<typename T, typename E = Error>
class Result
{
public:
    Result(T value)
        : m_value(std::move(value))
    {}
    Result(E error)
        : m_value(std::move(error))
    {}

    bool ok() const { return std::holds_alternative<T>(m_value); }
    explicit operator bool() const { return ok(); }
    const T &value() const { return std::get<T>(m_value); }
    T &value() { return std::get<T>(m_value); }
    T &&take() { return std::get<T>(std::move(m_value)); }
    const QString &error() const
        requires std::same_as<E, Error>
    {
        return std::get<Error>(m_value).message;
    }
    /// The failure whole.
    const E &failure() const { return std::get<E>(m_value); }

private:
    std::variant<T, E> m_value;
};

} // namespace MGImport8
