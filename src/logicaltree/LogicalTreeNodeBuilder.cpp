#include "LogicalTreeNodeBuilder.h"

#include "LogicalTreeModel.h"

#include <QStandardItem>

#include <memory>
#include <new>

using Roles = LogicalTreeModel::LogicalTreeRoles;

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setID(const QString& id)
{
    m_id = id;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setType(int type)
{
    m_type = type;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setName(const QString& name)
{
    m_name = name;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setCameraNodeID(const QString& cameraNodeId)
{
    m_cameraNodeId = cameraNodeId;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setSettingStatus(int status)
{
    m_settingStatus = status;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setParentStationNodeID(const QString& stationId)
{
    m_parentStationNodeId = stationId;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setDIDOValue(int value)
{
    m_diDoValue = value;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setDIDOIndex(int index)
{
    m_diDoIndex = index;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setJoystickKey(int key)
{
    m_joystickKey = key;
    return *this;
}

LogicalTreeNodeBuilder& LogicalTreeNodeBuilder::setNodeID(const QString& nodeId)
{
    m_nodeId = nodeId;
    return *this;
}

QStandardItem* LogicalTreeNodeBuilder::build() const
{
    try {
        auto item = std::make_unique<QStandardItem>();
        item->setData(m_id, Roles::idRole);
        item->setData(m_type, Roles::typeRole);
        item->setData(m_name, Roles::nameRole);
        item->setData(m_cameraNodeId, Roles::cameraNodeIDRole);
        item->setData(m_parentStationNodeId, Roles::parentStationIDRole);
        item->setData(m_settingStatus, Roles::settingStatusRole);
        item->setData(m_diDoValue, Roles::diDoValueRole);
        item->setData(m_diDoIndex, Roles::diDoIndexRole);
        item->setData(m_joystickKey, Roles::joystickKeyRole);
        item->setData(m_nodeId, Roles::nodeIDRole);
        return item.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

QMap<int, QVariant> LogicalTreeNodeBuilder::roleValues() const
{
    return {
            {Roles::idRole, m_id},
            {Roles::typeRole, m_type},
            {Roles::nameRole, m_name},
            {Roles::cameraNodeIDRole, m_cameraNodeId},
            {Roles::settingStatusRole, m_settingStatus},
            {Roles::parentStationIDRole, m_parentStationNodeId},
            {Roles::diDoValueRole, m_diDoValue},
            {Roles::diDoIndexRole, m_diDoIndex},
            {Roles::joystickKeyRole, m_joystickKey},
            {Roles::nodeIDRole, m_nodeId},
    };
}
