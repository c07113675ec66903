#include "QorbLogUtlStub.h"

#include "QorbLogTrace.h"

namespace {

class RecordingLog final : public QorbLogTrace
{
public:
    int RegisterModule(const char* moduleName, int value) override
    {
        moduleName_ = moduleName;
        registrationValue_ = value;
        return QorbLogUtlStub::kModuleNumber;
    }
    bool IsEnabled(int gate, const char*, int) override
    {
        ++gateQueries_;
        return !disabled_.contains(gate);
    }
    void Write(int gate, const char* sourceFile, int line, const char* message) override
    {
        lines_.append({gate & 0xff, gate >> 8, QByteArray(sourceFile), line, QByteArray(message)});
    }

    QList<QorbLogUtlStub::Line> lines_;
    QSet<int> disabled_;
    int gateQueries_ = 0;
    QByteArray moduleName_;
    int registrationValue_ = 0;
};

RecordingLog& globalLog()
{
    static RecordingLog log;
    return log;
}

} // namespace

extern "C" Q_DECL_EXPORT int LogTrace_GetGlobalObject(int, QorbLogTrace** out)
{
    if (!out)
        return -1;
    *out = &globalLog();
    return 0;
}

namespace QorbLogUtlStub {

QList<Line> lines() { return globalLog().lines_; }

QList<QByteArray> messages()
{
    QList<QByteArray> result;
    for (const Line& line : globalLog().lines_)
        result.append(line.message);
    return result;
}

void clear()
{
    globalLog().lines_.clear();
    globalLog().gateQueries_ = 0;
}

void setDisabled(const QSet<int>& gateValues) { globalLog().disabled_ = gateValues; }
int gateQueries() { return globalLog().gateQueries_; }
QByteArray registeredModuleName() { return globalLog().moduleName_; }
int registrationValue() { return globalLog().registrationValue_; }

} // namespace QorbLogUtlStub
