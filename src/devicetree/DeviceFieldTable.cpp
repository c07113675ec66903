#include "DeviceFieldTable.h"

#include "LogicalTreeNames.h"
#include "DeviceNodeFactory.h"
#include "DeviceTreeNames.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"

#include <QStandardItem>

namespace {

using Model = StandardTopologyModel;
using C = DeviceFieldTable::Conversion;
using Field = DeviceFieldTable::Field;
using StartValue = DeviceFieldTable::StartValue;
constexpr DeviceFieldTable::Use kCreateOnly = DeviceFieldTable::Use::CreateOnly;

// Whether a new node waits on its first processing step; none does.
constexpr int kNotProcessing = 0;
// The selection state every node is made with.
constexpr int kInitialSelection = Qt::Checked;
// Until camera information arrives, a camera is taken to stream on its first
// channel through the ordinary web port, kept as text like the ports views put
// into addresses.
constexpr int kInitialChannelCount = 1;
constexpr int kFirstChannel = 1;
const QString kInitialCameraPort = QStringLiteral("80");

template <typename... Roles>
std::vector<StartValue> allFalse(Roles... roles)
{
    return {StartValue{roles, false}...};
}

std::vector<StartValue> joined(std::vector<StartValue> first, const std::vector<StartValue>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::vector<StartValue> nodeStartValues(int itemType)
{
    return {{Model::hiddenInLiveRole, false},
            {Model::processingStatusRole, kNotProcessing},
            {Model::selectionRole, kInitialSelection},
            {Model::standardItemTypeRole, itemType}};
}

// Server information, status and capability updates fill these in later.
std::vector<StartValue> stationStartValues()
{
    return joined(joined(nodeStartValues(Model::StationItem),
                         allFalse(Model::relayEnabledRole, Model::nvrEventSearchRole, Model::gpsConnectionEventCapRole,
                                  Model::gpsSpeedLimitationEventCapRole, Model::gSensorEventCapRole,
                                  Model::fanStatusEventCapRole, Model::bruteForceAttackCapRole,
                                  Model::cyberAttackCapRole, Model::quarantineEventCapRole, Model::isQELM2Role,
                                  Model::connectedRole, Model::isSKYRCloudRelayTimeoutRole, Model::isWifiAvalibleRole,
                                  Model::nvrSupportCameraSettingRole)),
                  {{Model::wifiAddressRole, QString()}, {Model::nodeTypeRole, int(Model::StationNode)}});
}

// Camera information updates fill these in later.
std::vector<StartValue> cameraStartValues()
{
    return joined(joined(nodeStartValues(Model::DeviceItem),
                         allFalse(Model::isVCARole, Model::connectedRole, Model::recordingRole,
                                  Model::supportZoomModuleRole, Model::supportDeepSearchRole,
                                  Model::enableDeepSearchAttributeRole, Model::reidRole, Model::useMACBindingRole,
                                  Model::supportSAFRRole, Model::supportLPRRole, Model::supportNeuralLabLPRRole,
                                  Model::supportVaxtorLPRRole)),
                  {{Model::modelRole, QString()},
                   {Model::camTypeRole, int(Model::UnknownCamera)},
                   {Model::channelNumRole, kInitialChannelCount},
                   {Model::portRole, kInitialCameraPort}});
}

// A camera that no record describes in full: announced by a broadcast, or removed.
std::vector<StartValue> undescribedCameraStartValues()
{
    return joined(cameraStartValues(),
                  {{Model::nodeTypeRole, int(Model::CameraNode)},
                   {Model::brandRole, QString(DeviceTreeNames::kDefaultBrand)},
                   {Model::ipRole, QString()},
                   {Model::userRole, QString()},
                   {Model::diCountRole, 0u},
                   {Model::doCountRole, 0u},
                   {Model::motionCountRole, 0u},
                   {Model::channelRole, kFirstChannel}});
}

} // namespace

DeviceFieldTable::DeviceFieldTable(std::vector<StartValue> startValues, std::vector<Field> fields)
    : m_startValues(std::move(startValues)), m_fields(std::move(fields))
{
    const QHash<int, QByteArray> names = Model::getRoleNames();
    m_roleNames.reserve(m_fields.size());
    for (const Field& field : m_fields) {
        Q_ASSERT(names.contains(field.role));
        m_roleNames.push_back(QString::fromLatin1(names.value(field.role)));
    }
}

QVariant DeviceFieldTable::converted(const QVariant& value, Conversion conversion)
{
    switch (conversion) {
    case Conversion::Text:
        return PayloadFields::text(value);
    case Conversion::DisplayName:
        return DeviceNodeFactory::cleanDisplayName(PayloadFields::text(value));
    case Conversion::Flag:
        return value.toBool();
    case Conversion::Number:
        return value.toInt();
    case Conversion::Count:
        return value.toUInt();
    case Conversion::HexText:
        return DeviceNodeFactory::decodeHexText(value);
    case Conversion::TextList:
        return PayloadFields::textList(value);
    case Conversion::CameraType:
        return Model::cameraTypeOf(value);
    case Conversion::NodeType:
        return DeviceNodeFactory::nodeTypeFromText(PayloadFields::text(value));
    case Conversion::HasText:
        return !PayloadFields::text(value).isEmpty();
    case Conversion::AsSent:
        break;
    }
    return value;
}

QVariant DeviceFieldTable::read(const QVariantMap& record, const Field& field)
{
    if (field.key.isEmpty())
        return field.ifMissing;
    const QVariantMap* source = &record;
    QVariantMap nested;
    if (!field.inMap.isEmpty()) {
        nested = record.value(field.inMap).toMap();
        source = &nested;
    }
    const auto found = source->constFind(field.key);
    if (found == source->cend() && field.ifMissing.isValid())
        return field.ifMissing;
    return converted(found == source->cend() ? QVariant() : *found, field.conversion);
}

bool DeviceFieldTable::carries(const QVariantMap& record, const Field& field) const
{
    return field.use == Use::CreateAndUpdate && field.inMap.isEmpty() && record.contains(field.key);
}

void DeviceFieldTable::fill(QStandardItem& item, const QVariantMap& record) const
{
    for (const StartValue& start : m_startValues)
        item.setData(start.value, start.role);
    for (const Field& field : m_fields)
        item.setData(read(record, field), field.role);
}

QMap<int, QVariant> DeviceFieldTable::carriedValues(const QVariantMap& record) const
{
    QMap<int, QVariant> values;
    for (const Field& field : m_fields) {
        if (carries(record, field))
            values.insert(field.role, read(record, field));
    }
    return values;
}

QList<int> DeviceFieldTable::carriedRoles(const QVariantMap& record) const
{
    QList<int> roles;
    for (const Field& field : m_fields) {
        if (carries(record, field))
            roles.append(field.role);
    }
    return roles;
}

QMap<int, QVariant> DeviceFieldTable::updateValues(const QVariantMap& record) const
{
    QMap<int, QVariant> values;
    for (const Field& field : m_fields) {
        if (field.use == Use::CreateAndUpdate)
            values.insert(field.role, read(record, field));
    }
    return values;
}

void DeviceFieldTable::insertByRoleName(QVariantMap& target, const QVariantMap& record) const
{
    for (size_t i = 0; i < m_fields.size(); ++i)
        target.insert(m_roleNames[i], read(record, m_fields[i]));
}

// ---------------------------------------------------------------- the tables

const DeviceFieldTable& DeviceFieldTable::stationFromNodeList()
{
    static const DeviceFieldTable table(
        stationStartValues(),
        {{"nodeUID", Model::idRole, C::Text, kCreateOnly},
         {"nodeUID", Model::nodeIDRole, C::Text, kCreateOnly},
         {"nodeUID", Model::stationGuidRole, C::Text, kCreateOnly},
         {"nodeName", Model::nameRole, C::DisplayName},
         {"nodeType", Model::nodeTypeRole, C::NodeType},
         {"nodeIP", Model::ipRole, C::Text},
         {"useSSL", Model::useSSLRole, C::Flag},
         // Until the server information arrives, the one port the record
         // carries stands for both protocols.
         {"httpPort", Model::httpPortRole, C::Number},
         {"httpPort", Model::httpsPortRole, C::Number, kCreateOnly},
         {"nasDomain", Model::nasDomainRole, C::Text},
         {"nasUserName", Model::nasUsernameRole, C::Text},
         {"nasPassword", Model::nasPasswordRole, C::HexText},
         {"isCMSRedundantServer", Model::isCMSRedundantServerRole, C::Flag},
         {"user", Model::userRole, C::Text},
         {"stationPassword", Model::stationPasswordRole, C::HexText},
         {"isRedundantServer", Model::redundantServerRole, C::Flag},
         {"p2pSerialNumber", Model::p2pSerialNumberRole, C::Text},
         {"skyrCloudDeviceId", Model::skyrCloudDeviceIdRole, C::Text},
         {"skyrCloudDeviceId", Model::isSKYRCloudDeviceRole, C::HasText},
         {"skyrCloudDeviceConnectType", Model::skyrCloudDeviceConnectTypeRole, C::Number},
         {"serverVersion", Model::serverVersionRole, C::Text},
         {"serverModelName", Model::modelRole, C::Text},
         {"displayName", Model::displayNameRole, C::Text},
         {"isNVR", Model::isNVRStationRole, C::Flag}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::announcedStation()
{
    static const DeviceFieldTable table(
        joined(stationStartValues(), {{Model::serverVersionRole, QString()}, {Model::modelRole, QString()},
                                      {Model::displayNameRole, QString()}, {Model::isNVRStationRole, false}}),
        {{"stationUID", Model::idRole, C::Text, kCreateOnly},
         {"stationUID", Model::nodeIDRole, C::Text, kCreateOnly},
         {"stationUID", Model::stationGuidRole, C::Text, kCreateOnly},
         {"nodeName", Model::nameRole, C::DisplayName},
         {"stationIP", Model::ipRole, C::Text},
         {"useSSL", Model::useSSLRole, C::Flag},
         {"httpPort", Model::httpPortRole, C::Number},
         {"httpPort", Model::httpsPortRole, C::Number, kCreateOnly},
         {"nasDomain", Model::nasDomainRole, C::Text},
         {"nasUserName", Model::nasUsernameRole, C::Text},
         {"nasPassword", Model::nasPasswordRole, C::HexText},
         {"isCMSRedundantServer", Model::isCMSRedundantServerRole, C::Flag},
         {"user", Model::userRole, C::Text},
         {"stationPassword", Model::stationPasswordRole, C::HexText},
         {"isRedundantServer", Model::redundantServerRole, C::Flag},
         {"p2pSerialNumber", Model::p2pSerialNumberRole, C::Text},
         {"skyrCloudDeviceId", Model::skyrCloudDeviceIdRole, C::Text},
         {"skyrCloudDeviceId", Model::isSKYRCloudDeviceRole, C::HasText},
         {"skyrCloudDeviceConnectType", Model::skyrCloudDeviceConnectTypeRole, C::Number}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::cameraFromNodeList()
{
    static const DeviceFieldTable table(cameraStartValues(),
                                        {{"nodeUID", Model::idRole, C::Text, kCreateOnly},
                                         {"nodeUID", Model::nodeIDRole, C::Text, kCreateOnly},
                                         {"nodeName", Model::nameRole, C::DisplayName},
                                         {"nodeType", Model::nodeTypeRole, C::NodeType},
                                         {"nodeIP", Model::ipRole, C::Text},
                                         {"brand", Model::brandRole, C::Text},
                                         {"user", Model::userRole, C::Text},
                                         {"diCount", Model::diCountRole, C::Count},
                                         {"doCount", Model::doCountRole, C::Count},
                                         {"motionCount", Model::motionCountRole, C::Count},
                                         {"channelID", Model::channelRole, C::Number}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::announcedCamera()
{
    static const DeviceFieldTable table(undescribedCameraStartValues(),
                                        {{"nodeUID", Model::idRole, C::Text, kCreateOnly},
                                         {"nodeUID", Model::nodeIDRole, C::Text, kCreateOnly},
                                         {"nodeName", Model::nameRole, C::DisplayName},
                                         {"camIP", Model::ipRole, C::Text},
                                         {"camType", Model::camTypeRole, C::CameraType},
                                         {"camPort", Model::portRole, C::Text}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::removedCamera()
{
    // Removed cameras only keep their recordings reachable; live views skip them.
    static const DeviceFieldTable table(
        joined(undescribedCameraStartValues(),
               {{Model::hiddenInLiveRole, true}, {Model::nodeTypeRole, int(Model::RemovedCameraNode)}}),
        {{"camName", Model::nameRole, C::DisplayName}, {"cameraType", Model::camTypeRole, C::CameraType}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::removedCameraFolder()
{
    static const DeviceFieldTable table(joined(nodeStartValues(Model::DeviceItem),
                                               {{Model::nameRole, QStringLiteral("Removed Cameras")},
                                                {Model::nodeTypeRole, int(Model::RemovedCameraFolderNode)},
                                                {Model::hiddenInLiveRole, true},
                                                {Model::ipRole, QString()},
                                                {Model::modelRole, QString()}}),
                                        {});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::externalDevice()
{
    // The device is connected as soon as its station reports it.
    static const DeviceFieldTable table(joined(cameraStartValues(), {{Model::nodeTypeRole, int(Model::CameraNode)},
                                                                     {Model::motionCountRole, 0u},
                                                                     {Model::channelRole, kFirstChannel}}),
                                        {{"NodeID", Model::idRole, C::Text, kCreateOnly},
                                         {"NodeID", Model::nodeIDRole, C::Text, kCreateOnly},
                                         {"RefName", Model::nameRole, C::DisplayName, kCreateOnly},
                                         {"HostIP", Model::ipRole, C::Text, kCreateOnly},
                                         {"Brand", Model::brandRole, C::Text, kCreateOnly},
                                         {"User", Model::userRole, C::Text, kCreateOnly},
                                         {"DINum", Model::diCountRole, C::Count, kCreateOnly},
                                         {"DONum", Model::doCountRole, C::Count, kCreateOnly},
                                         {"Password", Model::passwordRole, C::Text},
                                         {"DINameList", Model::diNameListRole, C::TextList},
                                         {"DONameList", Model::doNameListRole, C::TextList},
                                         {"ModuleName", Model::modelRole, C::Text},
                                         {"Port", Model::portRole, C::Text},
                                         {{}, Model::connectedRole, C::AsSent, Use::CreateAndUpdate, true},
                                         {{}, Model::camTypeRole, C::AsSent, Use::CreateAndUpdate, int(Model::CameraExternalDevice)}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::cameraInformation()
{
    static const QString mechanicalPtz = QStringLiteral("mechPtzCap");
    // The top-level PTZ flag is not trusted: only the mechanical PTZ
    // capabilities say whether the camera really pans and tilts.
    const auto ptz = [](const char* key, int role) {
        return Field{key, role, C::Flag, Use::CreateAndUpdate, QVariant(), mechanicalPtz};
    };
    static const DeviceFieldTable table(
        {},
        {{"name", Model::nameRole, C::DisplayName},
         {"id", Model::camIDRole, C::Text},
         {"ip", Model::ipRole, C::Text},
         {"port", Model::httpPortRole, C::Number},
         {"user", Model::usernameRole, C::Text},
         {"user", Model::userRole, C::Text},
         {"pwd", Model::passwordRole, C::Text},
         // The servers name the model as a word; views compare the type as a number.
         {"type", Model::camTypeRole, C::CameraType},
         {"type", Model::camModelRole, C::Text},
         {"type", Model::modelRole, C::Text},
         {"firmwareVersion", Model::firmwareVersionRole, C::Text},
         {"vca", Model::isVCARole, C::Flag},
         {{}, Model::ruleInfoListRole, C::AsSent, Use::CreateAndUpdate, QVariantList()},
         ptz("suppPTZ", Model::suppMechPtzRole),
         ptz("suppPan", Model::suppPanRole),
         ptz("suppTilt", Model::suppTiltRole),
         ptz("suppZoom", Model::suppZoomRole),
         ptz("suppFocus", Model::suppFocusRole),
         ptz("suppIris", Model::suppIrisRole),
         ptz("suppJoystick", Model::suppJoystickRole),
         {"suppAutoTrack", Model::suppAutoTrackingRole, C::Flag},
         {"zoomModule", Model::supportZoomModuleRole, C::Flag},
         {"brand", Model::brandRole, C::Text, Use::CreateAndUpdate, QString(DeviceTreeNames::kDefaultBrand)},
         {"suppSeamless", Model::supportSeamlessRole, C::Flag},
         {"sdCardReady", Model::sdCardReadyRole, C::Flag},
         {"streamNum", Model::streamNumberRole, C::Count},
         {"profileNum", Model::profileNumberRole, C::Count},
         {"suppTimeShift", Model::supportTimeShiftRole, C::Flag},
         {"resolutionList", Model::resolutionListRole, C::TextList},
         {"suppSmartMotion", Model::suppSmartMotionRole, C::Flag},
         {"focusSpeed", Model::focusSpeedRole, C::Number},
         {"suppPPTZ", Model::supPPTZRole, C::Flag},
         {"isPPTZEnabled", Model::isPPTZEnabledRole, C::Flag},
         {"supportObjectMetadata", Model::supportObjectMetadataRole, C::Flag},
         {"suppVehicleDetection", Model::supportVehicleDetectionRole, C::Flag},
         {"vcaVersion", Model::vcaVersionRole, C::Text},
         {"vcaGitVersion", Model::vcaGitVersionRole, C::Text},
         {"vcaProject", Model::vcaProjectRole, C::Text},
         {"suppSmartVca", Model::supportSmartVCARole, C::Flag},
         {"authWebsocket", Model::authWebsocketRole, C::Flag},
         {"suppZoneDetection", Model::supportZoneDetectionRole, C::Flag},
         {"suppSmartSD", Model::supportSmartSDRole, C::Flag},
         {"suppAudioDetection", Model::supportAudioDetectionRole, C::Flag},
         {"suppShockDetection", Model::supportShockDetectionRole, C::Flag},
         {"vcaStatus", Model::vcaStatusRole, C::Text},
         {"enableMulticast", Model::enableMulticastRole, C::Flag},
         {"suppSmartTracking", Model::suppSmartTrackingRole, C::Flag},
         {"supportRunningDetection", Model::runningDetectionRole, C::Flag},
         {"supportParkingViolationDetection", Model::parkingViolationDetectionRole, C::Flag},
         {"supportRestrictedZoneDetection", Model::restrictedZoneDetectionRole, C::Flag},
         // Servers that send both keys mean "suppVCA"; the other is an old spelling.
         {"suppVCA", Model::suppVCARole, C::Flag},
         {"useServerTime", Model::useServerTimeRole, C::Flag},
         {"mac", Model::macRole, C::Text},
         {"doCount", Model::doCountRole, C::Count},
         {"diCount", Model::diCountRole, C::Count},
         {"motionCount", Model::motionCountRole, C::Count},
         {"useSSL", Model::useSSLRole, C::Number},
         {"httpsPort", Model::httpsPortRole, C::Number},
         {"protocol", Model::protocolRole, C::Text},
         {"channel", Model::channelRole, C::Number},
         {"channelNum", Model::channelNumRole, C::Number},
         {"ptSpeedLevel", Model::ptSpeedLevelRole, C::Number},
         {"zoomSpeedLevel", Model::zoomSpeedLevelRole, C::Number},
         {"suppTalk", Model::supportTalkRole, C::Flag},
         {"suppRemoteFocus", Model::suppRemoteFocusRole, C::Flag},
         {"suppDeepSearch", Model::supportDeepSearchRole, C::Flag},
         {"enableDeepSearchAttribute", Model::enableDeepSearchAttributeRole, C::Flag},
         {"reid", Model::reidRole, C::Flag},
         {"suppDeepSearchProtect", Model::supportDeepSearchProtectRole, C::Flag},
         {"useMACBinding", Model::useMACBindingRole, C::Flag},
         {"suppSAFR", Model::supportSAFRRole, C::Flag},
         {"suppNeuralLabLPR", Model::supportNeuralLabLPRRole, C::Flag},
         {"suppVaxtorLPR", Model::supportVaxtorLPRRole, C::Flag},
         {"edgeRecordingStream", Model::edgeRecordingStreamRole, C::Number},
         {"supportEdgeRecording", Model::supportEdgeRecordingRole, C::Flag},
         {"supportEdgeRecordingSettings", Model::supportEdgeRecordingSettingsRole, C::Flag},
         {"hasEdgeRecordingFile", Model::hasEdgeRecordingFileRole, C::Flag},
         {"fisheyeCap", Model::fisheyeCapRole, C::Number},
         {"vcaCapability", Model::vcaCapabilityRole, C::Text}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::stationInformation()
{
    static const DeviceFieldTable table({}, {{"RefName", Model::nameRole, C::DisplayName},
                                             {"Model", Model::modelRole, C::Text},
                                             {"DisplayName", Model::displayNameRole, C::Text},
                                             {"DINum", Model::diCountRole, C::Number},
                                             {"DONum", Model::doCountRole, C::Number},
                                             {"DeepSearchVersion", Model::deepSearchVersionRole, C::Text}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::stationRecord()
{
    // The station records of a node information answer carry their fields
    // under role names; the name itself is not taken from them.
    const auto asSent = [](int role) {
        return Field{QString::fromLatin1(Model::getRoleNames().value(role)), role, C::AsSent};
    };
    static const DeviceFieldTable table(
        {}, {asSent(Model::modelRole), asSent(Model::displayNameRole), asSent(Model::diCountRole),
             asSent(Model::diNameListRole), asSent(Model::doCountRole), asSent(Model::doNameListRole),
             asSent(Model::deepSearchVersionRole)});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::serverInformation()
{
    static const DeviceFieldTable table(
        {}, {{"isNVREventSearch", Model::nvrEventSearchRole, C::Flag},
             {"relayEnabled", Model::relayEnabledRole, C::Flag},
             {"hasGPSConnectionEventCap", Model::gpsConnectionEventCapRole, C::Flag},
             {"hasGPSSpeedLimitationEventCap", Model::gpsSpeedLimitationEventCapRole, C::Flag},
             {"hasGSensorEventCap", Model::gSensorEventCapRole, C::Flag},
             {"hasFanStatusEventCap", Model::fanStatusEventCapRole, C::Flag},
             {"suppBruteForceAttack", Model::bruteForceAttackCapRole, C::Flag},
             {"suppCyberAttack", Model::cyberAttackCapRole, C::Flag},
             {"suppQuarantineEvent", Model::quarantineEventCapRole, C::Flag},
             {"isQELM2", Model::isQELM2Role, C::Flag},
             {"isNVRStation", Model::isNVRStationRole, C::Flag},
             {"enableMulticast", Model::enableMulticastRole, C::Flag},
             {"multicastIp", Model::multicastIpRole, C::Text},
             {"multicastPortStart", Model::multicastPortStartRole, C::Number},
             {"multicastPortEnd", Model::multicastPortEndRole, C::Number},
             {"isNVRSupportCameraSetting", Model::nvrSupportCameraSettingRole, C::Flag},
             {"serverVersion", Model::serverVersionRole, C::Text},
             {"stationGUID", Model::stationGuidRole, C::Text},
             {"httpPort", Model::httpPortRole, C::Number},
             {"httpsPort", Model::httpsPortRole, C::Number}});
    return table;
}

const DeviceFieldTable& DeviceFieldTable::stationSettings()
{
    static const DeviceFieldTable table({}, {{"nasDomain", Model::nasDomainRole, C::Text},
                                             {"nasUserName", Model::nasUsernameRole, C::Text},
                                             {"nasPassword", Model::nasPasswordRole, C::HexText},
                                             {"stationPassword", Model::stationPasswordRole, C::HexText},
                                             {"httpPort", Model::httpPortRole, C::Number},
                                             {"useSSL", Model::useSSLRole, C::Flag},
                                             {"IP", Model::ipRole, C::Text}});
    return table;
}
