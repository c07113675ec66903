#pragma once

#include <QMap>
#include <QString>
#include <QVariant>

class QStandardItem;

// Collects the ten stored fields of one logical tree node and makes the item
// that carries them. Unset fields keep the defaults every node starts with.
class LogicalTreeNodeBuilder
{
public:
    LogicalTreeNodeBuilder& setID(const QString& id);
    LogicalTreeNodeBuilder& setType(int type);
    LogicalTreeNodeBuilder& setName(const QString& name);
    LogicalTreeNodeBuilder& setCameraNodeID(const QString& cameraNodeId);
    LogicalTreeNodeBuilder& setSettingStatus(int status);
    LogicalTreeNodeBuilder& setParentStationNodeID(const QString& stationId);
    LogicalTreeNodeBuilder& setDIDOValue(int value);
    LogicalTreeNodeBuilder& setDIDOIndex(int index);
    LogicalTreeNodeBuilder& setJoystickKey(int key);
    LogicalTreeNodeBuilder& setNodeID(const QString& nodeId);

    // A new item owned by the caller until it enters a model; null when memory ran out.
    QStandardItem* build() const;
    // The ten fields by role, for writing onto an item that already exists.
    QMap<int, QVariant> roleValues() const;

private:
    QString m_id = QStringLiteral("");
    int m_type = 0;
    QString m_name = QStringLiteral("");
    QString m_cameraNodeId = QStringLiteral("");
    int m_settingStatus = 0;
    QString m_parentStationNodeId;
    int m_diDoValue = 0;
    int m_diDoIndex = 0;
    int m_joystickKey = -1;
    QString m_nodeId;
};
