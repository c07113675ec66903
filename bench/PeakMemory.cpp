#include "PeakMemory.h"

#include <QFile>

#ifdef Q_OS_WIN
#include <windows.h>
#include <psapi.h>
#endif

namespace {
#ifndef Q_OS_WIN
qint64 statusField(const QByteArray& field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(field.size()).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return 0;
}
#endif
} // namespace

qint64 PeakMemory::currentBytes()
{
#ifdef Q_OS_WIN
    PROCESS_MEMORY_COUNTERS counters{};
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ? qint64(counters.WorkingSetSize) : 0;
#else
    return statusField("VmRSS:");
#endif
}

qint64 PeakMemory::peakBytes()
{
#ifdef Q_OS_WIN
    PROCESS_MEMORY_COUNTERS counters{};
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ? qint64(counters.PeakWorkingSetSize)
                                                                                 : 0;
#else
    return statusField("VmHWM:");
#endif
}
