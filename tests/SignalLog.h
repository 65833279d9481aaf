#pragma once

#include <QObject>
#include <QStringList>
#include <QVariant>

#include <type_traits>
#include <utility>

// Records the signals it watches as lines, "name=value" (or just "name" for a signal without
// one), in the order they come, so that a test compares everything a call announced at once.
class SignalLog final : public QObject
{
public:
    template <typename Sender, typename... Args>
    void watch(Sender* sender, void (Sender::*signal)(Args...), const char* name)
    {
        connect(sender, signal, this, [this, name](const std::decay_t<Args>&... values) {
            QString line = QString::fromLatin1(name);
            ((line += QLatin1Char('=') + text(values)), ...);
            m_lines << line;
        });
    }

    // A line of the test's own making, for values that need more than their name.
    void add(const QString& line) { m_lines << line; }
    const QStringList& lines() const { return m_lines; }
    QStringList take() { return std::exchange(m_lines, {}); }

private:
    template <typename T> static QString text(const T& value)
    {
        if constexpr (std::is_enum_v<T>)
            return QString::number(int(value));
        else
            return QVariant::fromValue(value).toString();
    }

    QStringList m_lines;
};
