#pragma once

// Interface of the host family's logging library ("QorbLogUtl").
//
// The library is optional: modules load it by name at run time and keep working
// silently without it. It exports one C entry point:
//
//     extern "C" int LogTrace_GetGlobalObject(int reserved, QorbLogTrace** out);
//
// which, called with 0, stores the process-wide log object in *out and returns 0
// on success. A module then registers itself once and receives its module number:
//
//     int moduleNumber = log->RegisterModule("PluginTopologyMgt", 19);
//
// Every log call is gated: the caller first asks IsEnabled with
// (moduleNumber << 8 | level) and the source position, and only formats and
// writes the message when that answers true, so disabled levels cost no
// formatting. Levels: 2 errors, 3 information. Messages are local 8-bit text.
class QorbLogTrace
{
public:
    virtual int RegisterModule(const char* moduleName, int registrationValue) = 0;
    virtual bool IsEnabled(int moduleAndLevel, const char* sourceFile, int line) = 0;
    virtual void Write(int moduleAndLevel, const char* sourceFile, int line, const char* message) = 0;

protected:
    ~QorbLogTrace() = default;
};

extern "C" {
typedef int (*LogTraceGetGlobalObjectFunction)(int reserved, QorbLogTrace** out);
}
