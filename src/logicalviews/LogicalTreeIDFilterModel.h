#pragma once

#include <QSet>
#include <QSortFilterProxyModel>
#include <QStringList>

// A logical tree view limited to the nodes whose tree IDs (idRole) a caller
// lists, for example the cameras of one layout. A node that is not listed hides
// its subtree. An empty list shows every node.
class LogicalTreeIDFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit LogicalTreeIDFilterModel(QObject* parent = nullptr);

    Q_INVOKABLE void setAvailableIDList(const QStringList& ids);
    Q_INVOKABLE void clearFilter();
    QStringList availableIDList() const { return m_ids; }

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    QStringList m_ids;
    QSet<QString> m_idSet;
};
