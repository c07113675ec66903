#include "DeviceNodeFactory.h"

#include "DeviceTreeNames.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"

#include <QRegularExpression>
#include <QStandardItem>

namespace {

using PayloadFields::textOf;
using PayloadFields::flagOf;

using Model = StandardTopologyModel;

const QString kStationType = QStringLiteral("Station");
const QString kRemovedCamerasName = QStringLiteral("Removed Cameras");

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

void setCommonNodeValues(QStandardItem& item, int level, const QString& parentId)
{
    item.setData(level, Model::levelRole);
    item.setData(parentId, Model::parentStationIDRole);
    item.setData(false, Model::hiddenInLiveRole);
    item.setData(0, Model::processingStatusRole);
    item.setData(2, Model::selectionRole);
}

// A node starts with its one column. QStandardItem adds a missing column in
// the middle of a multi-row insertion, which nests a column insertion inside
// the row insertion that proxies and views are already handling.
std::unique_ptr<QStandardItem> newNode()
{
    auto item = std::make_unique<QStandardItem>();
    item->setColumnCount(1);
    return item;
}

void setFlags(QStandardItem& item, std::initializer_list<int> roles, bool value)
{
    for (int role : roles)
        item.setData(value, role);
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
    auto item = newNode();
    const QString id = textOf(record, "nodeUID");
    item->setData(id, Model::idRole);
    item->setData(id, Model::nodeIDRole);
    item->setData(id, Model::stationGuidRole);
    item->setData(cleanDisplayName(textOf(record, "nodeName")), Model::nameRole);
    item->setData(nodeTypeFromText(textOf(record, "nodeType")), Model::nodeTypeRole);
    item->setData(textOf(record, "nodeIP"), Model::ipRole);
    item->setData(flagOf(record, "useSSL"), Model::useSSLRole);
    // Until the server information arrives, the one port the record carries
    // stands for both protocols.
    const int httpPort = record.value(QStringLiteral("httpPort")).toInt();
    item->setData(httpPort, Model::httpPortRole);
    item->setData(httpPort, Model::httpsPortRole);
    item->setData(textOf(record, "nasDomain"), Model::nasDomainRole);
    item->setData(textOf(record, "nasUserName"), Model::nasUsernameRole);
    item->setData(decodeHexText(record.value(QStringLiteral("nasPassword"))), Model::nasPasswordRole);
    item->setData(flagOf(record, "isCMSRedundantServer"), Model::isCMSRedundantServerRole);
    item->setData(textOf(record, "user"), Model::userRole);
    item->setData(decodeHexText(record.value(QStringLiteral("stationPassword"))), Model::stationPasswordRole);
    item->setData(flagOf(record, "isRedundantServer"), Model::redundantServerRole);
    item->setData(textOf(record, "p2pSerialNumber"), Model::p2pSerialNumberRole);
    const QString cloudDeviceId = textOf(record, "skyrCloudDeviceId");
    item->setData(cloudDeviceId, Model::skyrCloudDeviceIdRole);
    item->setData(!cloudDeviceId.isEmpty(), Model::isSKYRCloudDeviceRole);
    item->setData(record.value(QStringLiteral("skyrCloudDeviceConnectType")).toInt(),
                  Model::skyrCloudDeviceConnectTypeRole);
    item->setData(textOf(record, "serverVersion"), Model::serverVersionRole);
    item->setData(textOf(record, "serverModelName"), Model::modelRole);
    item->setData(textOf(record, "displayName"), Model::displayNameRole);
    item->setData(flagOf(record, "isNVR"), Model::isNVRStationRole);

    setCommonNodeValues(*item, level, parentId);
    item->setData(int(Model::StationItem), Model::standardItemTypeRole);
    // Server information, status and capability updates fill these in later.
    setFlags(*item,
             {Model::relayEnabledRole, Model::nvrEventSearchRole, Model::gpsConnectionEventCapRole,
              Model::gpsSpeedLimitationEventCapRole, Model::gSensorEventCapRole, Model::fanStatusEventCapRole,
              Model::bruteForceAttackCapRole, Model::cyberAttackCapRole, Model::quarantineEventCapRole,
              Model::isQELM2Role, Model::connectedRole, Model::isSKYRCloudRelayTimeoutRole,
              Model::isWifiAvalibleRole, Model::nvrSupportCameraSettingRole},
             false);
    item->setData(QString(), Model::wifiAddressRole);
    return item;
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createCameraNode(const QVariantMap& record, int level,
                                                                   const QString& parentId)
{
    auto item = newNode();
    const QString id = textOf(record, "nodeUID");
    item->setData(id, Model::idRole);
    item->setData(id, Model::nodeIDRole);
    item->setData(cleanDisplayName(textOf(record, "nodeName")), Model::nameRole);
    item->setData(nodeTypeFromText(textOf(record, "nodeType")), Model::nodeTypeRole);
    item->setData(textOf(record, "nodeIP"), Model::ipRole);
    item->setData(textOf(record, "brand"), Model::brandRole);
    item->setData(textOf(record, "user"), Model::userRole);
    item->setData(record.value(QStringLiteral("diCount")).toUInt(), Model::diCountRole);
    item->setData(record.value(QStringLiteral("doCount")).toUInt(), Model::doCountRole);
    item->setData(record.value(QStringLiteral("motionCount")).toUInt(), Model::motionCountRole);
    item->setData(record.value(QStringLiteral("channelID")).toInt(), Model::channelRole);
    item->setData(cameraCapabilities(record), Model::supportEventsRole);

    setCommonNodeValues(*item, level, parentId);
    item->setData(int(Model::DeviceItem), Model::standardItemTypeRole);
    item->setData(QString(), Model::modelRole);
    item->setData(int(Model::UnknownCamera), Model::camTypeRole);
    item->setData(1, Model::channelNumRole);
    // Kept as text like the ports that views put into addresses.
    item->setData(QStringLiteral("80"), Model::portRole);
    // Camera information updates fill these in later.
    setFlags(*item,
             {Model::isVCARole, Model::connectedRole, Model::recordingRole, Model::supportZoomModuleRole,
              Model::supportDeepSearchRole, Model::enableDeepSearchAttributeRole, Model::reidRole,
              Model::useMACBindingRole, Model::supportSAFRRole, Model::supportLPRRole,
              Model::supportNeuralLabLPRRole, Model::supportVaxtorLPRRole},
             false);
    return item;
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createRemovedCameraFolder(const QString& stationId,
                                                                            int stationLevel)
{
    auto item = newNode();
    const QString id = removedCameraFolderId(stationId);
    item->setData(id, Model::idRole);
    item->setData(id, Model::nodeIDRole);
    item->setData(kRemovedCamerasName, Model::nameRole);
    item->setData(stationLevel + 1, Model::levelRole);
    item->setData(int(Model::RemovedCameraFolderNode), Model::nodeTypeRole);
    // Removed cameras only keep their recordings reachable; live views skip them.
    item->setData(true, Model::hiddenInLiveRole);
    item->setData(0, Model::processingStatusRole);
    item->setData(2, Model::selectionRole);
    item->setData(int(Model::DeviceItem), Model::standardItemTypeRole);
    item->setData(QString(), Model::ipRole);
    item->setData(QString(), Model::parentStationIDRole);
    item->setData(QString(), Model::modelRole);
    return item;
}

std::unique_ptr<QStandardItem> DeviceNodeFactory::createRemovedCameraNode(const QVariantMap& removedCamera,
                                                                          const QString& stationId,
                                                                          int stationLevel)
{
    const QVariantMap cameraRecord{
        {QStringLiteral("nodeUID"), removedCameraId(stationId, textOf(removedCamera, "camID"))},
        {QStringLiteral("nodeName"), cleanDisplayName(textOf(removedCamera, "camName"))},
        {QStringLiteral("brand"), QString(DeviceTreeNames::kDefaultBrand)},
        {QStringLiteral("nodeType"), QString()},
        {QStringLiteral("nodeIP"), QString()},
        {QStringLiteral("user"), QString()},
        {QStringLiteral("diCount"), 0},
        {QStringLiteral("doCount"), 0},
        {QStringLiteral("motionCount"), 0},
        {QStringLiteral("channelID"), 1},
    };
    std::unique_ptr<QStandardItem> item = createCameraNode(cameraRecord, stationLevel + 2, stationId);
    item->setData(true, Model::hiddenInLiveRole);
    item->setData(int(Model::RemovedCameraNode), Model::nodeTypeRole);
    item->setData(Model::cameraTypeOf(removedCamera.value(QStringLiteral("cameraType"))), Model::camTypeRole);
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
