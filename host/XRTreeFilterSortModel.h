#pragma once

#include <QSortFilterProxyModel>

// STAND-IN for XRTreeFilterSortModel of the product family's closed tree filter
// library (TreeFilterSortModel), which is not available to this repository. It
// offers the three operations the topology module relies on (the constructor with
// a parent, setDataRoleEnum and filterAcceptsRow) with a plausible behaviour of
// its own, so that the module builds and its views can be exercised; it is not
// the library's code and does not claim to match it beyond those signatures.
//
// The filter: each row's value under the data role is read as a map, and its
// "nameRole" entry is matched against the proxy's filter expression (set with
// setFilterFixedString, setFilterWildcard or setFilterRegularExpression; case
// ignored unless set otherwise). Filtering is recursive: the ancestors of a
// matching row show, and so do the rows below it. Without a data role, or with
// an empty expression, every row shows.
class XRTreeFilterSortModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit XRTreeFilterSortModel(QObject* parent = nullptr);

    void setDataRoleEnum(int role);
    int dataRoleEnum() const { return m_dataRole; }

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    int m_dataRole = -1;
};
