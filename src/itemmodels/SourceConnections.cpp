#include "SourceConnections.h"

#include <QObject>

SourceConnections::~SourceConnections()
{
    disconnectAll();
}

void SourceConnections::replace(std::initializer_list<QMetaObject::Connection> connections)
{
    disconnectAll();
    m_connections.assign(connections.begin(), connections.end());
}

void SourceConnections::disconnectAll()
{
    for (const QMetaObject::Connection& connection : m_connections)
        QObject::disconnect(connection);
    m_connections.clear();
}
