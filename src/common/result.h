#pragma once

#include <QString>

#include <utility>
#include <variant>

namespace MGImport8 {

/// The error half of a `Result`: the text the user will read.
struct Error
{
    QString message;
};

/// An expected failure as a value: either a `T` or the message that says what went wrong.
template<typename T>
class Result
{
public:
    Result(T value)
        : m_value(std::move(value))
    {}
    Result(Error error)
        : m_value(std::move(error))
    {}

    bool ok() const { return std::holds_alternative<T>(m_value); }
    explicit operator bool() const { return ok(); }
    const T &value() const { return std::get<T>(m_value); }
    T &value() { return std::get<T>(m_value); }
    T &&take() { return std::get<T>(std::move(m_value)); }
    const QString &error() const { return std::get<Error>(m_value).message; }

private:
    std::variant<T, Error> m_value;
};

} // namespace MGImport8
