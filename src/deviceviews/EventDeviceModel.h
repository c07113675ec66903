#pragma once

#include "DeviceTreeFilterBase.h"

#include <QStringList>

// The device tree reduced to the devices that can be the source of an event of
// some kind: cameras that support one of the given event capabilities (keys of
// their supportEventsRole map) and stations that have one of the given
// capability roles. With neither list, every camera but an external device is
// supported. The search text is the proxy's filter regular expression, matched
// against names: a supported node whose name matches shows, and so does every
// supported camera of a station whose name matches.
//
// A node shown only because something below it is supported reads as kind 3
// (UnsupportedNode) under nodeTypeRole and dataRole, where "supportedDevice"
// tells the view whether the node may be chosen. The rows keep themselves sorted
// by kind, then by name.
class EventDeviceModel : public DeviceTreeFilterBase
{
    Q_OBJECT
public:
    // The kind a view shows as a grouping node that cannot be chosen.
    static constexpr int UnsupportedNode = 3;

    explicit EventDeviceModel(QObject* parent = nullptr);

    void setCameraEventCapability(const QStringList& capabilities);
    void setStationEventCapability(const QStringList& capabilities);
    QStringList cameraEventCapability() const { return m_cameraCapabilities; }
    QStringList stationEventCapability() const { return m_stationCapabilities; }

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

    // Whether any of the named fields of the map is true; false for no names.
    static bool reduceCapability(const QVariantMap& values, const QStringList& names);
    // Whether the node, given as its whole-node map, may be chosen.
    bool isSupportedDevice(const QVariantMap& node) const;

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
    bool filtersOn(const QList<int>& roles) const override;
    bool changeReachesDescendants(const QModelIndex& sourceNode, const QList<int>& roles) const override;
    QList<int> derivedRoles(const QList<int>& sourceRoles) const override;

private:
    static bool reduceCapability(const NodeFieldReader::Fields& values, const QStringList& names);
    bool isSupported(const NodeFieldReader::Fields& node) const;
    bool nameContainsFilterString(const QString& name) const;
    bool isAncestorsValid(const QModelIndex& sourceNode, const NodeFieldReader::Fields& node) const;
    QList<int> supportDecidingRoles() const;
    void capabilitiesChanged();

    QStringList m_stationCapabilities;
    QStringList m_cameraCapabilities;
};
