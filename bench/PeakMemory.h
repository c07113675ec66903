#pragma once

#include <QtGlobal>

// Resident memory of this process, in bytes: the current figure and the peak
// since the process started. Zero where the platform does not tell.
namespace PeakMemory {
qint64 currentBytes();
qint64 peakBytes();
}
