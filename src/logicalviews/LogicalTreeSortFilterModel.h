#pragma once

#include "RecursiveFilterCheck.h"
#include "SourceConnections.h"

#include <QList>
#include <QSet>
#include <QSortFilterProxyModel>
#include <QStringList>

// The sorted and filtered logical tree that most views show. Rows are hidden by
// the view's settings (cloud-relay devices, everything but cameras and first
// rows, the special folders, DI/DO and I/O, ONVIF cameras, excluded cameras) and
// then kept by a case-insensitive name filter: a row shows when an ancestor's
// name contains the text, when one of its children shows, or when its own name
// contains it; with capability keys set, a camera shows only when its flags in
// "dataRole" hold and its own name contains the text. Special folders sort first,
// folders before other rows, I/O devices by kind, DI/DO by port, the rest by name.
//
// The source is the logical tree's topology data model (or a filter over it),
// read through the logical roles. Qt re-checks only the rows a change names, so
// while a name filter is set this model also re-checks what the change can reach
// elsewhere: the ancestors of changed, inserted and removed rows (a folder shows
// because of its children), and the descendants of a row whose name changed (a
// row shows because of an ancestor's name). Only ancestors whose answer depends
// on their children cost more than reading their own roles, and those are settled
// from the rows already shown, so a status storm stays linear. Without a name
// filter rows do not depend on each other, except for the first-row rule.
//
// Setters that do not change a setting do not re-filter.
class LogicalTreeSortFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit LogicalTreeSortFilterModel(QObject* parent = nullptr);

    void setSourceModel(QAbstractItemModel* sourceModel) override;

    Q_INVOKABLE void filter(const QString& text);
    Q_INVOKABLE void setFilterCapability(const QStringList& keys, bool matchAll = true);
    Q_INVOKABLE void clearFilterCapability();
    Q_INVOKABLE void filterOutCameraNodeIds(const QStringList& cameraIds);
    Q_INVOKABLE void setFilterSKYRCloudDevice(bool hide);
    Q_INVOKABLE void setFilterNotRootDevice(bool hide);
    Q_INVOKABLE void showRemovedCameraFolder(bool show);
    Q_INVOKABLE void showLocalDBFolder(bool show);
    Q_INVOKABLE void showIONodesAndFolders(bool show);
    Q_INVOKABLE void showOnvifCamera(bool show);

    QString filterText() const { return m_text; }
    QStringList filterCapabilityKeys() const { return m_capabilityKeys; }
    bool filterCapabilityMatchAll() const { return m_capabilityMatchAll; }
    QStringList excludedCameraNodeIds() const { return m_excludedCameraIds; }

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
    bool lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const override;

private:
    using Verdict = RecursiveFilterCheck::Verdict;

    // What a row's own fields say, before its children are asked.
    Verdict ownVerdict(const QModelIndex& sourceNode) const;
    bool passesSettings(const QModelIndex& sourceNode, int type) const;
    bool hasCapabilities(const QModelIndex& sourceNode) const;
    bool nameContainsText(const QModelIndex& sourceNode) const;

    template <typename T>
    void changeSetting(T* setting, const T& value);

    void followDataChange(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);
    void followInsertedRows(const QModelIndex& sourceParent, int first, int last);
    void followRemovedRows(const QModelIndex& sourceParent, int first, int last);
    void followMovedRows();
    bool filtersOn(const QList<int>& roles) const;

    QString m_text;
    QStringList m_capabilityKeys;
    bool m_capabilityMatchAll = true;
    QStringList m_excludedCameraIds;
    QSet<QString> m_excludedCameraIdSet;
    bool m_hideCloudDevices = false;
    bool m_hideNonRootDevices = false;
    bool m_showRemovedCameraFolder = false;
    bool m_showLocalDbFolder = false;
    bool m_showIoNodes = false;
    bool m_showOnvifCameras = true;
    RecursiveFilterCheck m_check;
    SourceConnections m_sourceConnections;
};
