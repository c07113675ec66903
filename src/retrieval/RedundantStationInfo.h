#pragma once

#include <QString>

// One sub-station as the plug-in lists it when it tells redundant servers apart
// from the stations they protect: its identifier, display name, the identifier
// of the station it sits under, and whether it is itself a redundant server.
struct RedundantStationInfo
{
    RedundantStationInfo() = default;
    RedundantStationInfo(const QString& stationId, const QString& stationName, const QString& parentStationId,
                         bool isRedundantServer);

    QString stationId;
    QString stationName;
    QString parentStationId;
    bool isRedundantServer = false;

    friend bool operator==(const RedundantStationInfo& left, const RedundantStationInfo& right)
    {
        return left.stationId == right.stationId && left.stationName == right.stationName
            && left.parentStationId == right.parentStationId && left.isRedundantServer == right.isRedundantServer;
    }
    friend bool operator!=(const RedundantStationInfo& left, const RedundantStationInfo& right)
    {
        return !(left == right);
    }
};
