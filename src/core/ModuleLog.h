#pragma once

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <type_traits>

class QorbLogTrace;

// The module's connection to the optional logging library.
//
// The library is looked up by name the first time anything is logged; when it
// is absent every call returns at once and nothing else changes. Messages are
// formatted printf-style, but only after the library has said that the level
// is enabled for the calling source position.
//
// Text arguments come from servers and hosts, so each is made safe before it
// is formatted: characters that are not printable (control and format
// characters, line and paragraph separators) are written as the \xNN of their
// UTF-8 bytes and a backslash as two, so that one call stays one line and a
// text cannot pass for an escape; then the text is cut to the length the
// limits allow, with a note of how much was left out. The formatted line is cut
// to its own bound last.
class ModuleLog
{
public:
    enum Level { Error = 2, Information = 3 };

    static ModuleLog& instance();

    bool isAvailable() const { return m_log != nullptr; }

    template <typename... Args>
    void write(Level level, const char* sourceFile, int line, const char* format, const Args&... args)
    {
        if (!isEnabled(level, sourceFile, line))
            return;
        writeFormatted(level, sourceFile, line, formatMessage(format, toPrintable(args)...));
    }

private:
    ModuleLog();
    bool isEnabled(Level level, const char* sourceFile, int line) const;
    void writeFormatted(Level level, const char* sourceFile, int line, const QByteArray& message) const;

    // Every argument is turned into something printf understands; texts travel as
    // local 8-bit bytes that live until the message is formatted.
    static QByteArray toPrintable(const QString& text) { return printableText(text); }
    static QByteArray toPrintable(const QByteArray& bytes) { return printableText(QString::fromLocal8Bit(bytes)); }
    static QByteArray toPrintable(const char* text) { return printableText(QString::fromLocal8Bit(text)); }
    static QByteArray printableText(const QString& text);
    template <typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
    static Number toPrintable(Number value) { return value; }

    static const char* raw(const QByteArray& bytes) { return bytes.constData(); }
    template <typename Number>
    static Number raw(Number value) { return value; }

    static QByteArray formatMessage(const char* format) { return QByteArray(format); }
    template <typename... Printable>
    static QByteArray formatMessage(const char* format, const Printable&... args)
    {
        const int length = std::snprintf(nullptr, 0, format, raw(args)...);
        if (length <= 0)
            return QByteArray();
        QByteArray message(length, '\0');
        std::snprintf(message.data(), size_t(length) + 1, format, raw(args)...);
        return message;
    }

    QorbLogTrace* m_log = nullptr;
    int m_moduleNumber = 0;
};

#define TOPOLOGY_LOG_ERROR(...) ModuleLog::instance().write(ModuleLog::Error, __FILE__, __LINE__, __VA_ARGS__)
#define TOPOLOGY_LOG_INFO(...) ModuleLog::instance().write(ModuleLog::Information, __FILE__, __LINE__, __VA_ARGS__)
