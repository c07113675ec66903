#pragma once

#include <QHash>
#include <QList>
#include <QPair>
#include <QString>

// The contexts the module has handed out with its requests, each with the name
// of the request it was made for (RequestContexts.h says what each points to).
// A reply is only handled when its context is live here and was made for the
// reply's request name, so that a pointer the module no longer holds, or one
// made for another request, is never read.
//
// A live context is freed once, when its reply has ended or its request was
// refused. The contexts outstanding when a connection ends are retired: their
// late replies are dropped, and they stay allocated until the registry goes, so
// that no new context can take the address a late reply still names.
class RequestContextRegistry
{
public:
    RequestContextRegistry() = default;
    ~RequestContextRegistry();
    RequestContextRegistry(const RequestContextRegistry&) = delete;
    RequestContextRegistry& operator=(const RequestContextRegistry&) = delete;

    // Registers a context before its request leaves; null contexts are not held.
    void handOut(const QString& command, void* context);
    // True for a null context, and for a live one made for this request name.
    bool isLive(const QString& command, const void* context) const;
    // Frees a live context made for this request name; anything else is left alone.
    void release(const QString& command, void* context);
    void retireAll();

    int liveCount() const { return int(m_live.size()); }
    int retiredCount() const { return int(m_retired.size()); }

private:
    QHash<void*, QString> m_live;
    QList<QPair<QString, void*>> m_retired;
};
