#include "DeviceNodeFactory.h"

#include "DeviceFieldTable.h"
#include "DeviceTreeNames.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"

#include <QRegularExpression>
#include <QStandardItem>

namespace {

using PayloadFields::textOf;

using Model = StandardTopologyModel;

const QString kStationType = QStringLiteral("Station");

// The capability flags put on a camera when it is created, each read from the
// record key of the same name.
const char* const kCameraCapabilityKeys[] = {
    "suppPIR",           "suppTampering",        "suppTemperature",      "suppIR",
    "suppVideoLoss",     "suppLineCrossing",     "suppFieldDetection",   "suppLoitering",
    "suppSmartVca",      "suppSmartMotion",      "suppSmartTracking",    "suppAutoTracking",
    "suppBruteForceAttack", "suppCyberAttack",   "suppQuarantineEvent",  "suppPTZ",
    "suppZoneDetection", "suppSmartSD",          "suppAudioDetection",   "suppShockDetection",
};

QVariantMap cameraCapabilities(const QVariantMap& record)
{
    // The PTZ flag of the top level is not trusted: only the mechanical PTZ
    // capability says whether the camera really pans and tilts.
    const QVariantMap mechanicalPtz = record.value(QStringLiteral("mechPtzCap")).toMap();
    QVariantMap capabilities;
    for (const char* key : kCameraCapabilityKeys) {
        const QString name = QLatin1String(key);
        capabilities.insert(name, name == QLatin1String("suppPTZ") ? mechanicalPtz.value(name).toBool()
                                                                  : record.value(name).toBool());
    }
    return capabilities;
}

// Announcements and removal lists tell nothing of capabilities; camera
// information does later.
const QVariantMap& noCapabilities()
{
    static const QVariantMap none = cameraCapabilities(QVariantMap());
    return none;
}

// A node starts with its one column. QStandardItem adds a missing column in
// the middle of a multi-row insertion, which nests a column insertion inside
// the row insertion that proxies and views are already handling.
std::unique_ptr<QStandardItem> newNode(const DeviceFieldTable& fields, const QVariantMap& record, int level,
                                       const QString& parentId)
{
    auto item = std::make_unique<QStandardItem>();
    item->setColumnCount(1);
    fields.fill(*item, record);
    item->setData(level, Model::levelRole);
    item->setData(parentId, Model::parentStationIDRole);
    return item;
}

} // namespace

std::unique_ptr<QStandardItem> DeviceNodeFactory::createNode(const QVariantMap& record, int level,
                                                             const QString& parentId)
{
    if (nodeTypeFromText(textOf(record, "nodeType")) == Model::StationNode)
        return createStationNode(record, level, parentId);
    return createCameraNode(record, level, parentId);
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createStationNode(const QVariantMap& record, int level,
                                                                    const QString& parentId)
{
    return newNode(DeviceFieldTable::stationFromNodeList(), record, level, parentId);
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createCameraNode(const QVariantMap& record, int level,
                                                                   const QString& parentId)
{
    auto item = newNode(DeviceFieldTable::cameraFromNodeList(), record, level, parentId);
    item->setData(cameraCapabilities(record), Model::supportEventsRole);
    return item;
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createAnnouncedStation(const QVariantMap& announcement, int level)
{
    return newNode(DeviceFieldTable::announcedStation(), announcement, level, textOf(announcement, "relayPath"));
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createAnnouncedCamera(const QVariantMap& announcement, int level)
{
    auto item = newNode(DeviceFieldTable::announcedCamera(), announcement, level,
                        textOf(announcement, "parentStationID"));
    item->setData(noCapabilities(), Model::supportEventsRole);
    return item;
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createExternalDevice(const QVariantMap& device, int level)
{
    auto item = newNode(DeviceFieldTable::externalDevice(), device, level, textOf(device, "RelayPath"));
    item->setData(noCapabilities(), Model::supportEventsRole);
    return item;
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createRemovedCameraFolder(const QString& stationId,
                                                                            int stationLevel)
{
    // The folder belongs to no station of its own.
    auto item = newNode(DeviceFieldTable::removedCameraFolder(), QVariantMap(), stationLevel + 1, QString());
    const QString id = removedCameraFolderId(stationId);
    item->setData(id, Model::idRole);
    item->setData(id, Model::nodeIDRole);
    return item;
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createRemovedCameraNode(const QVariantMap& removedCamera,
                                                                          const QString& stationId,
                                                                          int stationLevel)
{
    // The cameras lie in the station's folder, yet belong to the station.
    auto item = newNode(DeviceFieldTable::removedCamera(), removedCamera, stationLevel + 2, stationId);
    const QString id = removedCameraId(stationId, textOf(removedCamera, "camID"));
    item->setData(id, Model::idRole);
    item->setData(id, Model::nodeIDRole);
    item->setData(noCapabilities(), Model::supportEventsRole);
    return item;
}

QString DeviceNodeFactory::removedCameraFolderId(const QString& stationId)
{
    return stationId.isEmpty() ? QString(DeviceTreeNames::kRemovedCamerasFolder)
                              : stationId + QLatin1Char('/') + DeviceTreeNames::kRemovedCamerasFolder;
}

QString DeviceNodeFactory::removedCameraId(const QString& stationId, const QString& camId)
{
    return stationId.isEmpty() ? camId : stationId + QLatin1Char('/') + camId;
}

QString DeviceNodeFactory::cleanDisplayName(const QString& name)
{
    static const QRegularExpression serverPrefix(QStringLiteral("^s_|^c_|^d_"));
    return QString(name).remove(serverPrefix);
}

QString DeviceNodeFactory::decodeHexText(const QVariant& hexText)
{
    return QString::fromUtf8(QByteArray::fromHex(PayloadFields::text(hexText).toLatin1()));
}

int DeviceNodeFactory::nodeTypeFromText(const QString& nodeType)
{
    return nodeType == kStationType ? Model::StationNode : Model::CameraNode;
}
