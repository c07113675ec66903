#pragma once

#include <QSortFilterProxyModel>

// The user's own folders of the logical tree, for choosing where to put or move
// something: only folder rows show, never the special folders (removed cameras,
// local databases, I/O devices) nor folders of cloud-relay stations, and they
// are sorted by name, ignoring case.
//
// Each row is judged on its own fields (and hides its subtree), so Qt's own
// re-filtering of changed rows keeps the view right.
class LogicalTreeFolderModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit LogicalTreeFolderModel(QObject* parent = nullptr);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
    bool lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const override;
};
