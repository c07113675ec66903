#include "NodeFieldReader.h"

#include "StandardTopologyModel.h"

using Model = StandardTopologyModel;

NodeFieldReader::Fields::Fields(QVariantMap values)
    : m_values(std::move(values))
{
}

NodeFieldReader::Fields::Fields(const NodeFieldReader* reader, const QModelIndex& node)
    : m_reader(reader), m_node(node)
{
}

bool NodeFieldReader::Fields::contains(const QString& name) const
{
    if (!m_reader)
        return m_values.contains(name);
    return m_reader->m_fieldNames->contains(name);
}

QVariant NodeFieldReader::Fields::value(const QString& name) const
{
    if (!m_reader)
        return m_values.value(name);
    if (!contains(name))
        return QVariant();
    const int role = m_reader->roleOf(name);
    // A key that is no device role name can only be found in the map itself.
    if (role == 0)
        return m_node.data(Model::dataRole).toMap().value(name);
    return m_node.data(role);
}

void NodeFieldReader::forgetSourceModel()
{
    m_fieldNames.reset();
}

NodeFieldReader::Fields NodeFieldReader::fieldsOf(const QModelIndex& node) const
{
    if (!node.isValid())
        return Fields(QVariantMap());
    const int itemType = node.data(Model::standardItemTypeRole).toInt();
    if (itemType != Model::DeviceItem && itemType != Model::StationItem)
        return Fields(node.data(Model::dataRole).toMap());
    if (!m_fieldNames) {
        QVariantMap whole = node.data(Model::dataRole).toMap();
        const QStringList names = whole.keys();
        m_fieldNames = QSet<QString>(names.cbegin(), names.cend());
        return Fields(std::move(whole));
    }
    return Fields(this, node);
}

int NodeFieldReader::roleOf(const QString& name) const
{
    const auto known = m_roleByName.constFind(name);
    if (known != m_roleByName.constEnd())
        return *known;
    const int role = Model::convertRoleNameStringToEnum(name);
    m_roleByName.insert(name, role);
    return role;
}
