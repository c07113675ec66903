#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

#include <vector>

// The on/off state of each node's digital inputs and outputs, in port order.
// The node information sizes a node's ports; events switch them.
class DiDoStateTable
{
public:
    enum class PortKind { Input, Output };

    // Records carry "idRole", "diCountRole" and "doCountRole".
    void resizeFromRecords(const std::vector<QVariantMap>& records);
    // A node's port states survive a refresh of its information; only the
    // number of ports follows.
    void resize(const QString& nodeId, int inputCount, int outputCount);
    // Ports are numbered from 1, as events name them.
    void setPort(const QString& nodeId, PortKind kind, int portNumber, bool active);

    // "DI" or "DO"; empty for any other kind and for a node without ports.
    QVariantList ports(const QString& nodeId, const QString& portKind) const;

    // Each node goes with everything below it.
    void forget(const QStringList& nodeIds);
    void clear() { m_states.clear(); }

private:
    struct Ports
    {
        QList<bool> inputs;
        QList<bool> outputs;
    };
    QMap<QString, Ports> m_states;
};
