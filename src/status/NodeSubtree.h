#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

// Tables keyed by node identifier name the nodes below a station by the
// station's identifier, "/", and their own ("S_1/C_2"). Kept in key order, the
// entries below a node lie together, so dropping a node with everything below
// it costs a look-up and the entries dropped, not a walk of the table.
namespace NodeSubtree {

// The identifier of a node directly below another; below the login station
// (the empty identifier) a node goes by its own.
inline QString childId(const QString& parentId, const QString& localId)
{
    return parentId.isEmpty() ? localId : parentId + QLatin1Char('/') + localId;
}

inline QString prefixBelow(const QString& nodeId)
{
    return nodeId + QLatin1Char('/');
}

// Each node goes with everything below it: "S_1" takes "S_1/C_2" along, never
// "S_10". The empty identifier is the login station's, and names nothing here.
template <typename Value>
void erase(QMap<QString, Value>& table, const QStringList& nodeIds)
{
    for (const QString& nodeId : nodeIds) {
        if (nodeId.isEmpty())
            continue;
        table.remove(nodeId);
        const QString below = prefixBelow(nodeId);
        for (auto entry = table.lowerBound(below); entry != table.end() && entry.key().startsWith(below);)
            entry = table.erase(entry);
    }
}

} // namespace NodeSubtree
