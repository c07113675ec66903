#pragma once

#include "LogicalTreeNodeBuilder.h"

#include <QList>
#include <QModelIndex>
#include <QStringList>
#include <QVariantMap>

class QStandardItem;

// The logical tree's nodes as they are made from the servers' payloads, before
// they enter the model, and the depth limit they are kept within.
namespace LogicalTreeNodes {

// Payload values: a list of texts (anything else reads as empty), a number
// (the fallback when missing or not a number).
QStringList textListOf(const QVariant& value);
int numberOf(const QVariantMap& record, const char* key, int fallback);

// A device's ID within the tree: behind its station, or bare for the login station.
QString joinedId(const QString& stationId, const QString& id);

// The levels of the tree: a top-level node is at level 1, the invisible root at 0.
int levelOf(const QModelIndex& node);
bool hasRoomBelow(const QModelIndex& parent, int levels = 1);
bool fitsBelow(const QModelIndex& node, const QModelIndex& parent);
void keepDiDoWithinDepth(const QModelIndex& ownerParent, QStringList& diNames, QStringList& doNames);

// "prefix1" .. "prefixN".
QStringList defaultDiDoNames(const QString& prefix, int count);
LogicalTreeNodeBuilder serverNode(const QVariantMap& node, const QString& stationId);
QStandardItem* buildServerSubtree(const QVariantMap& node, const QString& stationId, int level);
QList<QStandardItem*> buildDiDoChildren(const QString& ownerId, const QStringList& diNames,
                                        const QStringList& doNames);

} // namespace LogicalTreeNodes
