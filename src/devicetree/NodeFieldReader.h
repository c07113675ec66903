#pragma once

#include <QHash>
#include <QModelIndex>
#include <QSet>
#include <QString>
#include <QVariant>

#include <optional>

// Reads single fields of device nodes exactly as the node's whole-node map
// (dataRole) presents them, without building that map: a filter that needs two
// fields reads two roles.
//
// A field is "in the map" when its name is one of the map's keys; the keys are
// learnt once from the first node that is read whole and are the same for every
// node whose standardItemTypeRole is a device or station item. Any other node
// hands out its own dataRole value, which is then read as it is.
class NodeFieldReader
{
public:
    class Fields
    {
    public:
        // The fields of an already-read map, for example a nested capability map.
        explicit Fields(QVariantMap values);

        bool contains(const QString& name) const;
        // The value under the name, invalid when the map has no such field.
        QVariant value(const QString& name) const;

    private:
        friend class NodeFieldReader;
        Fields(const NodeFieldReader* reader, const QModelIndex& node);

        const NodeFieldReader* m_reader = nullptr;
        QModelIndex m_node;
        QVariantMap m_values;
    };

    // The field names learnt so far belong to one source model.
    void forgetSourceModel();

    Fields fieldsOf(const QModelIndex& node) const;

private:
    int roleOf(const QString& name) const;

    mutable std::optional<QSet<QString>> m_fieldNames;
    mutable QHash<QString, int> m_roleByName;
};
