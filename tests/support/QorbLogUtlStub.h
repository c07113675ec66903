#pragma once

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QtGlobal>

#if defined(QORBLOGUTL_STUB_BUILD)
#define QORBLOGUTL_STUB_API Q_DECL_EXPORT
#else
#define QORBLOGUTL_STUB_API Q_DECL_IMPORT
#endif

// Test stand-in of the logging library. The module loads it by name like the
// real one; the suites link it too and read what it recorded.
namespace QorbLogUtlStub {

struct Line
{
    int level = 0;         // the low byte of the gate value
    int moduleNumber = 0;  // the high bits of the gate value
    QByteArray sourceFile;
    int sourceLine = 0;
    QByteArray message;
};

// The module number handed to the next registration.
constexpr int kModuleNumber = 7;

QORBLOGUTL_STUB_API QList<Line> lines();
QORBLOGUTL_STUB_API QList<QByteArray> messages();
QORBLOGUTL_STUB_API void clear();
// Gate values (moduleNumber << 8 | level) that IsEnabled answers false for.
QORBLOGUTL_STUB_API void setDisabled(const QSet<int>& gateValues);
QORBLOGUTL_STUB_API int gateQueries();
QORBLOGUTL_STUB_API QByteArray registeredModuleName();
QORBLOGUTL_STUB_API int registrationValue();

} // namespace QorbLogUtlStub
