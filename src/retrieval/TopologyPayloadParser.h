#pragma once

#include "RedundantStationInfo.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <vector>

class DeviceTree;

// Turns the servers' topology payloads into the records the stores keep: the
// camera information record of a camera entry, the station records of a node
// information answer, and the non-redundant sub-stations of a node list.
// Every value is read leniently: a missing key or a value of the wrong type
// gives the conversion's empty value, never an error.
class TopologyPayloadParser
{
public:
    // The device tree is read for the current connection and recording state of
    // cameras it already holds, and for the parents of inserted sub-stations.
    explicit TopologyPayloadParser(const DeviceTree& deviceTree);

    QVariantMap createCameraInfoMap(const QVariantMap& cameraEntry, const QString& stationId) const;
    std::vector<QVariantMap> parseCamerasList(const QVariantList& cameras, const QString& stationId) const;
    std::vector<QVariantMap> parseStationsList(const QVariantList& stations) const;
    // Records of three texts ("nodeUID", "nodeName", "parentStationID"); must run
    // after the node list has been inserted, as the parent comes from the tree.
    QList<RedundantStationInfo> allNonRedundantServerSubstations(const QVariantList& nodeList) const;

    static QString decryptUrlString(const QString& text);
    static QStringList generateDefaultDiDoNameList(const QString& prefix, int count);

private:
    static QVariantMap supportedEvents(const QVariantMap& details);

    const DeviceTree& m_deviceTree;
};
