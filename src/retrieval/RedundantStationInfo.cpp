#include "RedundantStationInfo.h"

RedundantStationInfo::RedundantStationInfo(const QString& stationId, const QString& stationName,
                                           const QString& parentStationId, bool isRedundantServer)
    : stationId(stationId)
    , stationName(stationName)
    , parentStationId(parentStationId)
    , isRedundantServer(isRedundantServer)
{
}
