#pragma once

#include <QMetaObject>

#include <initializer_list>
#include <vector>

// The connections a proxy keeps to its current source model, made together when
// a source is set and dropped together when another one replaces it, so that a
// former source can no longer reach the proxy.
class SourceConnections
{
public:
    SourceConnections() = default;
    SourceConnections(const SourceConnections&) = delete;
    SourceConnections& operator=(const SourceConnections&) = delete;
    ~SourceConnections();

    // Drops the connections held so far and keeps these instead.
    void replace(std::initializer_list<QMetaObject::Connection> connections);
    void disconnectAll();

private:
    std::vector<QMetaObject::Connection> m_connections;
};
