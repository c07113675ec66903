#pragma once

#include "XRTreeFilterSortModel.h"

// The logical tree as the advanced views show it: the shared tree filter
// library's filtering (set its data role to the logical tree's dataRole), in the
// logical tree's order: folders before every other kind, the special folders
// first among folders, DI/DO by port, the rest by name ignoring case. Rows are
// sorted from the start.
class LogicalTreeFilterSortModelEx : public XRTreeFilterSortModel
{
    Q_OBJECT
public:
    explicit LogicalTreeFilterSortModelEx(QObject* parent = nullptr);

protected:
    bool lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const override;
};
