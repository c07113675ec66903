#include "ModuleLog.h"

#include "ModuleLimits.h"
#include "QorbLogTrace.h"

#include <QChar>
#include <QLibrary>

namespace {
constexpr char kLibraryName[] = "QorbLogUtl";
constexpr char kEntryPoint[] = "LogTrace_GetGlobalObject";
constexpr char kModuleName[] = "PluginTopologyMgt";
constexpr int kRegistrationValue = 19;
constexpr char kLineCutNote[] = "...[line cut]";

bool isPrintable(char32_t codePoint)
{
    // Line and paragraph separators print, but break lines in many readers.
    const QChar::Category category = QChar::category(codePoint);
    return QChar::isPrint(codePoint) && category != QChar::Separator_Line && category != QChar::Separator_Paragraph;
}

QString escaped(char32_t codePoint)
{
    // The UTF-8 bytes, worked out by hand so that a lone surrogate escapes as
    // itself instead of as a replacement character.
    unsigned char bytes[4];
    int count = 0;
    if (codePoint < 0x80) {
        bytes[count++] = static_cast<unsigned char>(codePoint);
    } else if (codePoint < 0x800) {
        bytes[count++] = static_cast<unsigned char>(0xC0 | (codePoint >> 6));
        bytes[count++] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        bytes[count++] = static_cast<unsigned char>(0xE0 | (codePoint >> 12));
        bytes[count++] = static_cast<unsigned char>(0x80 | ((codePoint >> 6) & 0x3F));
        bytes[count++] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
    } else {
        bytes[count++] = static_cast<unsigned char>(0xF0 | (codePoint >> 18));
        bytes[count++] = static_cast<unsigned char>(0x80 | ((codePoint >> 12) & 0x3F));
        bytes[count++] = static_cast<unsigned char>(0x80 | ((codePoint >> 6) & 0x3F));
        bytes[count++] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
    }
    QString result;
    for (int i = 0; i < count; ++i)
        result += QStringLiteral("\\x") + QString::number(bytes[i], 16).toUpper().rightJustified(2, QLatin1Char('0'));
    return result;
}
}

ModuleLog& ModuleLog::instance()
{
    static ModuleLog log;
    return log;
}

ModuleLog::ModuleLog()
{
    // The library stays loaded for the life of the process: the log object it
    // hands out is process-wide and other modules may be using it too.
    static QLibrary library(QString::fromLatin1(kLibraryName));
    if (!library.load())
        return;
    auto getGlobalObject = reinterpret_cast<LogTraceGetGlobalObjectFunction>(library.resolve(kEntryPoint));
    if (!getGlobalObject)
        return;
    QorbLogTrace* log = nullptr;
    if (getGlobalObject(0, &log) != 0 || !log)
        return;
    m_log = log;
    m_moduleNumber = m_log->RegisterModule(kModuleName, kRegistrationValue);
}

bool ModuleLog::isEnabled(Level level, const char* sourceFile, int line) const
{
    return m_log && m_log->IsEnabled((m_moduleNumber << 8) | int(level), sourceFile, line);
}

void ModuleLog::writeFormatted(Level level, const char* sourceFile, int line, const QByteArray& message) const
{
    if (message.size() <= ModuleLimits::kMaxLogLineBytes) {
        m_log->Write((m_moduleNumber << 8) | int(level), sourceFile, line, message.constData());
        return;
    }
    qsizetype cut = ModuleLimits::kMaxLogLineBytes - qsizetype(sizeof(kLineCutNote) - 1);
    // Not in the middle of a character: UTF-8 continuation bytes go with the cut.
    for (int step = 0; step < 3 && cut > 0 && (static_cast<unsigned char>(message.at(cut)) & 0xC0) == 0x80; ++step)
        --cut;
    const QByteArray bounded = message.left(cut) + kLineCutNote;
    m_log->Write((m_moduleNumber << 8) | int(level), sourceFile, line, bounded.constData());
}

QByteArray ModuleLog::printableText(const QString& text)
{
    QString printable;
    qsizetype next = 0;
    while (next < text.size()) {
        const QChar unit = text.at(next);
        char32_t codePoint = unit.unicode();
        qsizetype units = 1;
        if (unit.isHighSurrogate() && next + 1 < text.size() && text.at(next + 1).isLowSurrogate()) {
            codePoint = QChar::surrogateToUcs4(unit, text.at(next + 1));
            units = 2;
        }
        QString piece;
        if (codePoint == U'\\')
            piece = QStringLiteral("\\\\");
        else if (isPrintable(codePoint))
            piece = text.mid(next, units);
        else
            piece = escaped(codePoint);
        if (printable.size() + piece.size() > ModuleLimits::kMaxLoggedTextLength)
            break;
        printable += piece;
        next += units;
    }
    if (next < text.size())
        printable += QStringLiteral("...[%1 more characters]").arg(text.size() - next);
    return printable.toLocal8Bit();
}
