#pragma once

#include <QSortFilterProxyModel>

// The views' window on the web page tree: pages whose name contains the filter
// text, ignoring case, and the root while any page is shown or its own name
// matches. Sorting is by page name, ignoring case, once setSort is called;
// until then the server's order is kept.
//
// The filter text is the proxy's standard filter pattern (setFilterFixedString
// and its siblings, callable from QML). The root's rule is Qt's recursive
// filtering, so the root appears and disappears as pages arrive or are renamed,
// not only when the filter text changes.
class WebPageTreeFilterSortModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit WebPageTreeFilterSortModel(QObject* parent = nullptr);

    Q_INVOKABLE void setSort(Qt::SortOrder order);
};
