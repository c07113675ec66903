#pragma once

#include <QSortFilterProxyModel>

// The logical tree without the cameras that the device topology does not know:
// over the topology data model a camera has a name only while its device is
// known, and a camera without a name does not show. Every other row shows. The
// rows keep the logical tree's order.
class LogicalTreeValidCameraDataModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit LogicalTreeValidCameraDataModel(QObject* parent = nullptr);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
};
