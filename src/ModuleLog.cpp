#include "ModuleLog.h"

#include "QorbLogTrace.h"

#include <QLibrary>

namespace {
constexpr char kLibraryName[] = "QorbLogUtl";
constexpr char kEntryPoint[] = "LogTrace_GetGlobalObject";
constexpr char kModuleName[] = "PluginTopologyMgt";
constexpr int kRegistrationValue = 19;
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
    m_log->Write((m_moduleNumber << 8) | int(level), sourceFile, line, message.constData());
}
