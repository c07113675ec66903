#include "XRTreeFilterSortModel.h"

#include <QRegularExpression>
#include <QVariantMap>

XRTreeFilterSortModel::XRTreeFilterSortModel(QObject* parent)
    : QSortFilterProxyModel(parent)
{
    setRecursiveFilteringEnabled(true);
    setAutoAcceptChildRows(true);
    setFilterCaseSensitivity(Qt::CaseInsensitive);
}

void XRTreeFilterSortModel::setDataRoleEnum(int role)
{
    if (role == m_dataRole)
        return;
    m_dataRole = role;
    // Qt re-checks the ancestors of a changed row only when the change names
    // the filter role.
    setFilterRole(role);
    invalidateRowsFilter();
}

bool XRTreeFilterSortModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    const QRegularExpression expression = filterRegularExpression();
    if (m_dataRole < 0 || expression.pattern().isEmpty())
        return true;
    const QModelIndex node = sourceModel()->index(sourceRow, 0, sourceParent);
    const QString name = node.data(m_dataRole).toMap().value(QStringLiteral("nameRole")).toString();
    return expression.match(name).hasMatch();
}
