#include "CameraStatusTable.h"

#include "NodeSubtree.h"
#include "PayloadFields.h"

namespace {
const QString kConnectedRole = QStringLiteral("connectedRole");
const QString kRecordingRole = QStringLiteral("recordingRole");
const QString kUseEdgeRecordingRole = QStringLiteral("useEdgeRecordingRole");
const QString kEdgeRecordingStreamRole = QStringLiteral("edgeRecordingStreamRole");
const QString kNameRole = QStringLiteral("nameRole");
} // namespace

void CameraStatusTable::rememberRecords(const std::vector<QVariantMap>& cameraRecords)
{
    for (const QVariantMap& camera : cameraRecords) {
        remember(camera.value(QStringLiteral("idRole")).toString(),
                 {{kConnectedRole, camera.value(kConnectedRole).toBool()},
                  {kRecordingRole, camera.value(kRecordingRole).toBool()},
                  {kUseEdgeRecordingRole, camera.value(kUseEdgeRecordingRole).toBool()},
                  {kEdgeRecordingStreamRole, camera.value(kEdgeRecordingStreamRole).toInt()},
                  {kNameRole, camera.value(kNameRole).toString()}});
    }
}

void CameraStatusTable::remember(const QString& cameraId, const QVariantMap& status)
{
    if (cameraId.isEmpty())
        return;
    const auto known = m_statuses.find(cameraId);
    if (known == m_statuses.end())
        m_statuses.insert(cameraId, status);
    else
        known->insert(kNameRole, status.value(kNameRole));
}

// A camera listed twice counts by its last entry, and is news only when that
// differs from what was last announced.
CameraStatusTable::Changes CameraStatusTable::apply(const QVariantList& statuses)
{
    Changes changes;
    QMap<QString, bool> lastConnected;
    QMap<QString, bool> lastRecording;
    for (const QVariant& entry : statuses) {
        const QVariantMap status = entry.toMap();
        const QString cameraId = PayloadFields::textOf(status, "camUID");
        if (!m_statuses.contains(cameraId))
            continue;
        lastConnected.insert(cameraId, status.value(QStringLiteral("connected")).toBool());
        lastRecording.insert(cameraId, status.value(QStringLiteral("recording")).toBool());
        if (status.value(QStringLiteral("useEdgeRecording")).toBool())
            changes.edgeRecording.append(cameraId);
    }
    for (auto it = lastConnected.cbegin(); it != lastConnected.cend(); ++it) {
        const QVariantMap& announced = m_statuses[it.key()];
        if (announced.value(kConnectedRole).toBool() != it.value())
            changes.connection.insert(it.key(), it.value());
        if (announced.value(kRecordingRole).toBool() != lastRecording.value(it.key()))
            changes.recording.insert(it.key(), lastRecording.value(it.key()));
    }

    for (const QVariant& entry : statuses) {
        const QVariantMap status = entry.toMap();
        const QString cameraId = PayloadFields::textOf(status, "camUID");
        if (cameraId.isEmpty())
            continue;
        QVariantMap& row = m_statuses[cameraId];
        row.insert(kConnectedRole, status.value(QStringLiteral("connected")).toBool());
        row.insert(kRecordingRole, status.value(QStringLiteral("recording")).toBool());
        row.insert(kUseEdgeRecordingRole, status.value(QStringLiteral("useEdgeRecording")).toBool());
        row.insert(kEdgeRecordingStreamRole, status.value(QStringLiteral("edgeRecordingStream")).toInt());
    }
    return changes;
}

void CameraStatusTable::rename(const QString& cameraId, const QString& name)
{
    const auto status = m_statuses.find(cameraId);
    if (status != m_statuses.end())
        status->insert(kNameRole, name);
}

void CameraStatusTable::forget(const QStringList& nodeIds)
{
    NodeSubtree::erase(m_statuses, nodeIds);
}
