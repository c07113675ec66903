#pragma once

#include <QVariantMap>

// Builds large installations as scenario documents (the same structure as the
// files in examples/), for tests and benchmarks. The output depends on the
// options only: the same options always give the same document.
class ScenarioGenerator
{
public:
    struct Options
    {
        // Sub-stations in the login station's tree, NVRs and redundant servers not counted.
        int stations = 10;
        // On the login station, on every sub-station and on every NVR.
        int camerasPerStation = 16;
        // Levels of sub-stations below the login station: the stations are laid out
        // in chains S_1, S_1/S_2, ... of this length, each chain under the login station.
        int depth = 1;
        // NVRs and redundant servers (on standby) are leaves under the login station.
        int nvrs = 0;
        int redundantServers = 0;
        // Per station and NVR, recorded in its locations.
        int removedCamerasPerStation = 0;
        // A logical tree with one folder per station holding its cameras.
        bool logicalTree = true;
        // Every answer comes in this many parts ("answerParts").
        int answerParts = 1;
    };

    static QVariantMap generate(const Options& options);
    // How many cameras and stations (the login station included) `options` give.
    static int cameraCount(const Options& options);
    static int stationCount(const Options& options);
};
