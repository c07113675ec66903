#pragma once

#include <QAbstractItemModel>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

// Records the structural and data notifications of a model as readable lines,
// so that a test can compare the whole sequence at once:
//   "inserted 0..2 under s1", "removed 1..1 under <root>", "changed 3 roles 284,304".
// Parents are named by the text under `nameRole` (the identifier role of the
// model under test), or "<root>".
class ModelNotificationRecorder : public QObject
{
    Q_OBJECT
public:
    ModelNotificationRecorder(QAbstractItemModel* model, int nameRole, QObject* parent = nullptr);

    QStringList lines() const { return m_lines; }
    void clear() { m_lines.clear(); }

private:
    QString nameOf(const QModelIndex& index) const;

    QAbstractItemModel* m_model;
    int m_nameRole;
    QStringList m_lines;
};

// A filter proxy that counts the rows it is asked to filter, so that a test can
// tell a change that re-filtered everything from one that checked a few rows.
template <typename FilterProxy>
class RowFilterCounter : public FilterProxy
{
public:
    using FilterProxy::FilterProxy;
    mutable int rowsFiltered = 0;

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override
    {
        ++rowsFiltered;
        return FilterProxy::filterAcceptsRow(sourceRow, sourceParent);
    }
};

// The smallest node records the device tree accepts, for suites that build trees;
// without a name, a node is named by its identifier.
namespace DeviceRecords {
inline QVariantMap station(const QString& id, const QString& name = QString())
{
    return {{QStringLiteral("nodeUID"), id}, {QStringLiteral("nodeName"), name.isNull() ? id : name},
            {QStringLiteral("nodeType"), QStringLiteral("Station")}};
}

inline QVariantMap camera(const QString& id, const QString& name = QString())
{
    return {{QStringLiteral("nodeUID"), id}, {QStringLiteral("nodeName"), name.isNull() ? id : name},
            {QStringLiteral("nodeType"), QStringLiteral("Camera")}};
}
} // namespace DeviceRecords
