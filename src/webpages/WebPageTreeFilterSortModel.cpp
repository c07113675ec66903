#include "WebPageTreeFilterSortModel.h"

#include "WebPageTreeModelController.h"

WebPageTreeFilterSortModel::WebPageTreeFilterSortModel(QObject* parent)
    : QSortFilterProxyModel(parent)
{
    setFilterRole(WebPageTreeModelController::pageNameRole);
    setFilterCaseSensitivity(Qt::CaseInsensitive);
    setRecursiveFilteringEnabled(true);
    setSortRole(WebPageTreeModelController::pageNameRole);
    setSortCaseSensitivity(Qt::CaseInsensitive);
}

void WebPageTreeFilterSortModel::setSort(Qt::SortOrder order)
{
    sort(0, order);
}
