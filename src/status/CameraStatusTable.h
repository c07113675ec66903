#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <vector>

// What the status handlers last announced of each camera: "connectedRole",
// "recordingRole", "useEdgeRecordingRole", "edgeRecordingStreamRole" and
// "nameRole". A status event is news only where it differs from this.
class CameraStatusTable
{
public:
    // What one status event changed, by camera identifier, so announced in
    // identifier order.
    struct Changes
    {
        QMap<QString, bool> connection;
        QMap<QString, bool> recording;
        // Cameras the table knew that say they record on their own storage, in event order.
        QStringList edgeRecording;
    };

    // A camera enters the table with the state the device tree shows, so that
    // the first event that differs from it is announced. A camera already held
    // keeps what was last announced of it; only its name follows. Camera
    // records carry the roles above and "idRole".
    void rememberRecords(const std::vector<QVariantMap>& cameraRecords);
    void remember(const QString& cameraId, const QVariantMap& status);

    // Takes the event's entries ("camUID", "connected", "recording",
    // "useEdgeRecording", "edgeRecordingStream") and returns what changed for
    // the cameras held before it. A camera not held yet is taken in silently.
    Changes apply(const QVariantList& statuses);

    // A camera not held is not added by its rename.
    void rename(const QString& cameraId, const QString& name);

    QVariantMap status(const QString& cameraId) const { return m_statuses.value(cameraId); }

    // Each node goes with everything below it.
    void forget(const QStringList& nodeIds);
    void clear() { m_statuses.clear(); }

private:
    QMap<QString, QVariantMap> m_statuses;
};
