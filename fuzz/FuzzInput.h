#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QString>
#include <QVariant>

#include <cstddef>
#include <cstdint>

// The byte format of one fuzz input: a sequence of steps, each an operation code
// followed by its fields. The reader never fails: past the end every field reads
// as zero or empty, so any byte string is a valid input. The writer produces the
// same format, for the seed corpus.
//
//   step    := op:u8 fields...
//   text    := length:u16 (little endian) bytes (UTF-8)
//   json    := length:u32 (little endian) bytes (UTF-8)
//   payload := kind:u8 ...   (see PayloadKind)
namespace FuzzInput {

enum Op : std::uint8_t {
    Connect,
    Disconnect,
    DeliverAnswers,
    Reply,       // name, payload, code, completed:u8, context
    Broadcast,   // name, payload, target:u8
    RepeatLast,  // the last reply or broadcast again, with the same context
    ViewAction,  // action:u8, row:u16, text
    LetTimePass, // fires the retry timers that are due
    OpCount
};

enum PayloadKind : std::uint8_t {
    NullPayload,
    JsonPayload,      // json: an array whose first element is the payload
    GeneratedPayload, // built from the following bytes (maps, lists, scalars)
    HugeText,         // size:u8 in units of 64 KiB, filled with one character
    ServerAnswer,     // the simulated servers' own answer to the last request of that name
    PayloadKindCount
};

enum NameChoice : std::uint8_t { KnownName, OwnName };

enum CodeChoice : std::uint8_t { Success, Busy, FrameworkFailure, OwnCode, CodeChoiceCount };

enum ContextChoice : std::uint8_t {
    NoContext,
    LatestOfSameName, // the context of the newest request of that name
    AnyRecorded,      // index:u16 into every request recorded so far
    FreedPointer,     // memory that no longer exists: must never be read
    ContextChoiceCount
};

class Reader
{
public:
    Reader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool atEnd() const { return m_position >= m_size; }
    std::size_t remaining() const { return atEnd() ? 0 : m_size - m_position; }

    std::uint8_t u8() { return atEnd() ? 0 : m_data[m_position++]; }
    std::uint16_t u16()
    {
        const std::uint16_t low = u8();
        return std::uint16_t(low | (std::uint16_t(u8()) << 8));
    }
    QByteArray bytes(std::size_t length)
    {
        const std::size_t taken = length < remaining() ? length : remaining();
        QByteArray result(reinterpret_cast<const char*>(m_data + m_position), qsizetype(taken));
        m_position += taken;
        return result;
    }
    std::uint32_t u32()
    {
        const std::uint32_t low = u16();
        return low | (std::uint32_t(u16()) << 16);
    }
    QString text() { return QString::fromUtf8(bytes(u16())); }
    QByteArray json() { return bytes(u32()); }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_position = 0;
};

class Writer
{
public:
    void u8(std::uint8_t value) { m_bytes.append(char(value)); }
    void u16(std::uint16_t value)
    {
        u8(std::uint8_t(value & 0xff));
        u8(std::uint8_t(value >> 8));
    }
    void u32(std::uint32_t value)
    {
        u16(std::uint16_t(value & 0xffff));
        u16(std::uint16_t(value >> 16));
    }
    void text(const QString& value)
    {
        QByteArray utf8 = value.toUtf8().left(0xffff);
        u16(std::uint16_t(utf8.size()));
        m_bytes.append(utf8);
    }
    void jsonPayload(const QVariant& payload)
    {
        u8(JsonPayload);
        const QJsonArray wrapped{QJsonValue::fromVariant(payload)};
        const QByteArray json = QJsonDocument(wrapped).toJson(QJsonDocument::Compact);
        u32(std::uint32_t(json.size()));
        m_bytes.append(json);
    }
    void knownName(int index)
    {
        u8(KnownName);
        u8(std::uint8_t(index));
    }

    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

} // namespace FuzzInput
