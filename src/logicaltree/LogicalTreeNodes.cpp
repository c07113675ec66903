#include "LogicalTreeNodes.h"

#include "DeviceNodeFactory.h"
#include "InputLimits.h"
#include "LogicalTreeModel.h"
#include "ModuleLimits.h"
#include "PayloadFields.h"
#include "TreeWalk.h"

#include <QStandardItemModel>

#include <deque>
#include <memory>
#include <utility>

namespace LogicalTreeNodes {

namespace {

using PayloadFields::isRecord;
using PayloadFields::textOf;
using Model = LogicalTreeModel;

QString stationPartOf(const QString& cameraId)
{
    const qsizetype slash = cameraId.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QStringLiteral("") : cameraId.left(slash);
}

} // namespace

QStringList textListOf(const QVariant& value)
{
    const int type = value.typeId();
    if (type == QMetaType::QStringList || type == QMetaType::QVariantList)
        return PayloadFields::textList(value);
    return QStringList();
}

int numberOf(const QVariantMap& record, const char* key, int fallback)
{
    bool ok = false;
    const int number = record.value(QLatin1String(key)).toInt(&ok);
    return ok ? number : fallback;
}

int levelOf(const QModelIndex& node)
{
    int level = 0;
    for (QModelIndex ancestor = node; ancestor.isValid(); ancestor = ancestor.parent())
        ++level;
    return level;
}

// Whether nodes `levels` below the parent stay within the depth limit.
bool hasRoomBelow(const QModelIndex& parent, int levels)
{
    return levelOf(parent) + levels <= ModuleLimits::kMaxTreeDepth;
}

// Whether `node` with its subtree can go under `parent` within the depth limit.
bool fitsBelow(const QModelIndex& node, const QModelIndex& parent)
{
    const auto* model = qobject_cast<const QStandardItemModel*>(node.model());
    return model && levelOf(parent) + TreeWalk::heightOf(model->itemFromIndex(node)) <= ModuleLimits::kMaxTreeDepth;
}

// DI/DO hang one level below their owner: an owner at the depth limit keeps none.
void keepDiDoWithinDepth(const QModelIndex& ownerParent, QStringList& diNames, QStringList& doNames)
{
    if (hasRoomBelow(ownerParent, 2))
        return;
    InputLimits::partsDropped(int(diNames.size() + doNames.size()));
    diNames.clear();
    doNames.clear();
}

QString joinedId(const QString& stationId, const QString& id)
{
    return stationId.isEmpty() ? id : stationId + QLatin1Char('/') + id;
}

QStringList defaultDiDoNames(const QString& prefix, int count)
{
    QStringList names;
    for (int number = 1; number <= count; ++number)
        names.append(prefix + QString::number(number));
    return names;
}

// Cameras arrive nameless and are named later from the device tree, so the name
// is the only sign of a server node's kind.
LogicalTreeNodeBuilder serverNode(const QVariantMap& node, const QString& stationId)
{
    const QString name = textOf(node, "name");
    const QString nodeUid = textOf(node, "nodeUID");
    LogicalTreeNodeBuilder builder;
    builder.setID(textOf(node, "treeNodeId"))
            .setNodeID(nodeUid)
            .setName(DeviceNodeFactory::cleanDisplayName(name))
            .setParentStationNodeID(stationId);
    if (!name.isEmpty())
        return builder.setType(Model::Folder).setJoystickKey(-1);
    const QString cameraId = joinedId(stationId, nodeUid);
    return builder.setType(Model::Camera)
            .setJoystickKey(numberOf(node, "joystickKey", -1))
            .setCameraNodeID(cameraId)
            .setParentStationNodeID(stationPartOf(cameraId));
}

// Breadth first through a queue rather than by recursion: a broken or hostile
// server may nest its folders thousands of levels deep. The subtree's top lies
// at `level`; children that would lie deeper than the limit are left out, with
// everything below them.
QStandardItem* buildServerSubtree(const QVariantMap& node, const QString& stationId, int level)
{
    std::unique_ptr<QStandardItem> top(serverNode(node, stationId).build());
    if (!top)
        return nullptr;
    struct Pending
    {
        QStandardItem* parent;
        QVariantList children;
        int childLevel;
    };
    std::deque<Pending> pending;
    pending.push_back({top.get(), PayloadFields::listOf(node, "children"), level + 1});
    while (!pending.empty()) {
        const Pending next = std::move(pending.front());
        pending.pop_front();
        for (const QVariant& child : next.children) {
            if (!isRecord(child))
                continue;
            if (next.childLevel > ModuleLimits::kMaxTreeDepth) {
                InputLimits::partsDropped();
                continue;
            }
            const QVariantMap childNode = child.toMap();
            QStandardItem* item = serverNode(childNode, stationId).build();
            if (!item)
                continue;
            next.parent->appendRow(item);
            pending.push_back({item, PayloadFields::listOf(childNode, "children"), next.childLevel + 1});
        }
    }
    return top.release();
}

// DI and DO share one running number in their IDs, while each kind counts its
// own index from 0.
QList<QStandardItem*> buildDiDoChildren(const QString& ownerId, const QStringList& diNames,
                                        const QStringList& doNames)
{
    QList<QStandardItem*> children;
    const auto append = [&](int type, const QString& name, int number, int index) {
        const QString id = ownerId + QLatin1Char('_') + QString::number(number);
        LogicalTreeNodeBuilder builder;
        builder.setID(id).setCameraNodeID(id).setType(type).setName(name).setDIDOValue(0).setDIDOIndex(index);
        if (QStandardItem* child = builder.build())
            children.append(child);
    };
    for (int i = 0; i < diNames.size(); ++i)
        append(Model::DigitalInput, diNames.at(i), i, i);
    for (int j = 0; j < doNames.size(); ++j)
        append(Model::DigitalOutput, doNames.at(j), int(diNames.size()) + j, j);
    return children;
}

} // namespace LogicalTreeNodes
