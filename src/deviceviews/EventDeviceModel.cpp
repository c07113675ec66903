#include "EventDeviceModel.h"

#include "StandardTopologyModel.h"

#include <QRegularExpression>

using Model = StandardTopologyModel;
using Fields = NodeFieldReader::Fields;

namespace {

const QString& nodeTypeField()
{
    static const QString name = QStringLiteral("nodeTypeRole");
    return name;
}

} // namespace

EventDeviceModel::EventDeviceModel(QObject* parent)
    : DeviceTreeFilterBase(parent)
{
    sort(0, Qt::AscendingOrder);
}

void EventDeviceModel::setCameraEventCapability(const QStringList& capabilities)
{
    if (capabilities == m_cameraCapabilities)
        return;
    m_cameraCapabilities = capabilities;
    capabilitiesChanged();
}

void EventDeviceModel::setStationEventCapability(const QStringList& capabilities)
{
    if (capabilities == m_stationCapabilities)
        return;
    m_stationCapabilities = capabilities;
    capabilitiesChanged();
}

void EventDeviceModel::capabilitiesChanged()
{
    // Which nodes are supported may change anywhere, and with it what every row
    // presents: the rows are mapped and read again.
    invalidate();
}

QVariant EventDeviceModel::data(const QModelIndex& index, int role) const
{
    Q_ASSERT(checkIndex(index));
    if (!index.isValid() || (role != Model::dataRole && role != Model::nodeTypeRole))
        return DeviceTreeFilterBase::data(index, role);
    if (role == Model::dataRole) {
        QVariantMap node = DeviceTreeFilterBase::data(index, role).toMap();
        const bool supported = isSupportedDevice(node);
        node.insert(QStringLiteral("supportedDevice"), supported);
        if (!supported)
            node.insert(nodeTypeField(), UnsupportedNode);
        return node;
    }
    const Fields node = fieldsOf(mapToSource(index));
    return isSupported(node) ? node.value(nodeTypeField()) : QVariant(UnsupportedNode);
}

bool EventDeviceModel::reduceCapability(const QVariantMap& values, const QStringList& names)
{
    return reduceCapability(Fields(values), names);
}

bool EventDeviceModel::reduceCapability(const Fields& values, const QStringList& names)
{
    for (const QString& name : names) {
        if (values.value(name).toBool())
            return true;
    }
    return false;
}

bool EventDeviceModel::isSupportedDevice(const QVariantMap& node) const
{
    return isSupported(Fields(node));
}

bool EventDeviceModel::isSupported(const Fields& node) const
{
    const int kind = node.value(nodeTypeField()).toInt();
    if (m_cameraCapabilities.isEmpty() && m_stationCapabilities.isEmpty()) {
        if (node.value(QStringLiteral("camTypeRole")).toInt() == Model::CameraExternalDevice)
            return false;
        return kind == Model::CameraNode;
    }
    if (kind == Model::StationNode)
        return reduceCapability(node, m_stationCapabilities);
    if (kind != Model::CameraNode)
        return false;
    return reduceCapability(Fields(node.value(QStringLiteral("supportEventsRole")).toMap()), m_cameraCapabilities);
}

bool EventDeviceModel::nameContainsFilterString(const QString& name) const
{
    const QRegularExpression expression = filterRegularExpression();
    return expression.pattern().isEmpty() || expression.match(name).hasMatch();
}

bool EventDeviceModel::isAncestorsValid(const QModelIndex& sourceNode, const Fields& node) const
{
    if (node.value(nodeTypeField()).toInt() != Model::CameraNode)
        return false;
    for (QModelIndex ancestor = sourceNode.parent(); ancestor.isValid(); ancestor = ancestor.parent()) {
        if (nameContainsFilterString(ancestor.data(Model::nameRole).toString()))
            return true;
    }
    return false;
}

bool EventDeviceModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    const QAbstractItemModel* source = sourceModel();
    const QModelIndex sourceNode = source ? source->index(sourceRow, 0, sourceParent) : QModelIndex();
    if (!sourceNode.isValid())
        return false;
    const Fields node = fieldsOf(sourceNode);
    if (!isSupported(node))
        return false;
    if (nameContainsFilterString(node.value(QStringLiteral("nameRole")).toString()))
        return true;
    return isAncestorsValid(sourceNode, node);
}

QList<int> EventDeviceModel::supportDecidingRoles() const
{
    QList<int> roles{Model::nodeTypeRole, Model::camTypeRole, Model::supportEventsRole, Model::standardItemTypeRole,
                     Model::dataRole};
    for (const QString& capability : m_stationCapabilities) {
        const int role = Model::convertRoleNameStringToEnum(capability);
        if (role != 0)
            roles.append(role);
    }
    return roles;
}

bool EventDeviceModel::filtersOn(const QList<int>& roles) const
{
    return roles.isEmpty() || roles.contains(Model::nameRole) || namesAnyOf(roles, supportDecidingRoles());
}

bool EventDeviceModel::changeReachesDescendants(const QModelIndex& sourceNode, const QList<int>& roles) const
{
    // A station's name decides whether the search shows its cameras.
    const bool nameMayChange = roles.isEmpty() || namesAnyOf(roles, {Model::nameRole, Model::dataRole});
    return nameMayChange && !filterRegularExpression().pattern().isEmpty() && sourceModel()->rowCount(sourceNode) > 0;
}

QList<int> EventDeviceModel::derivedRoles(const QList<int>& sourceRoles) const
{
    if (sourceRoles.isEmpty() || !namesAnyOf(sourceRoles, supportDecidingRoles()))
        return {};
    QList<int> derived;
    for (int role : {int(Model::dataRole), int(Model::nodeTypeRole)}) {
        if (!sourceRoles.contains(role))
            derived.append(role);
    }
    return derived;
}
