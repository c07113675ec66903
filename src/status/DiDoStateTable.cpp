#include "DiDoStateTable.h"

#include "NodeSubtree.h"

void DiDoStateTable::resizeFromRecords(const std::vector<QVariantMap>& records)
{
    for (const QVariantMap& record : records)
        resize(record.value(QStringLiteral("idRole")).toString(), record.value(QStringLiteral("diCountRole")).toInt(),
               record.value(QStringLiteral("doCountRole")).toInt());
}

void DiDoStateTable::resize(const QString& nodeId, int inputCount, int outputCount)
{
    if (nodeId.isEmpty())
        return;
    Ports& ports = m_states[nodeId];
    ports.inputs.resize(qMax(0, inputCount));
    ports.outputs.resize(qMax(0, outputCount));
}

// A port beyond the count the node information gave, or of a node it never
// described, is not kept: the count is what sizes the views' port lists.
void DiDoStateTable::setPort(const QString& nodeId, PortKind kind, int portNumber, bool active)
{
    const auto state = m_states.find(nodeId);
    if (state == m_states.end())
        return;
    QList<bool>& ports = kind == PortKind::Input ? state->inputs : state->outputs;
    const qsizetype index = qsizetype(portNumber) - 1;
    if (index >= 0 && index < ports.size())
        ports[index] = active;
}

QVariantList DiDoStateTable::ports(const QString& nodeId, const QString& portKind) const
{
    const auto state = m_states.constFind(nodeId);
    if (state == m_states.cend())
        return QVariantList();
    const bool inputs = portKind == QLatin1String("DI");
    if (!inputs && portKind != QLatin1String("DO"))
        return QVariantList();
    QVariantList listed;
    for (bool active : inputs ? state->inputs : state->outputs)
        listed.append(active);
    return listed;
}

void DiDoStateTable::forget(const QStringList& nodeIds)
{
    NodeSubtree::erase(m_states, nodeIds);
}
