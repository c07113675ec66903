#include "StandardTopologyModel.h"
#include "PayloadFields.h"

#include "TreeWalk.h"

#include <QMetaEnum>
#include <QSet>
#include <QStandardItem>

#include <iterator>

namespace {

// The fields a declarative view reads through dataRole, station and camera fields
// alike. Roles left out (lists, rules, edge recording, take-over state) are read
// one by one by the views that need them.
constexpr int kWholeNodeRoles[] = {
        StandardTopologyModel::idRole,
        StandardTopologyModel::nodeIDRole,
        StandardTopologyModel::nameRole,
        StandardTopologyModel::levelRole,
        StandardTopologyModel::nodeTypeRole,
        StandardTopologyModel::ipRole,
        StandardTopologyModel::hiddenInLiveRole,
        StandardTopologyModel::processingStatusRole,
        StandardTopologyModel::selectionRole,
        StandardTopologyModel::parentStationIDRole,
        StandardTopologyModel::modelRole,
        StandardTopologyModel::displayNameRole,
        StandardTopologyModel::bruteForceAttackCapRole,
        StandardTopologyModel::cyberAttackCapRole,
        StandardTopologyModel::quarantineEventCapRole,
        StandardTopologyModel::useSSLRole,
        StandardTopologyModel::httpPortRole,
        StandardTopologyModel::httpsPortRole,
        StandardTopologyModel::relayEnabledRole,
        StandardTopologyModel::nvrEventSearchRole,
        StandardTopologyModel::isNVRStationRole,
        StandardTopologyModel::gpsConnectionEventCapRole,
        StandardTopologyModel::gpsSpeedLimitationEventCapRole,
        StandardTopologyModel::gSensorEventCapRole,
        StandardTopologyModel::fanStatusEventCapRole,
        StandardTopologyModel::isQELM2Role,
        StandardTopologyModel::connectedRole,
        StandardTopologyModel::redundantServerRole,
        StandardTopologyModel::nasDomainRole,
        StandardTopologyModel::nasUsernameRole,
        StandardTopologyModel::nasPasswordRole,
        StandardTopologyModel::isCMSRedundantServerRole,
        StandardTopologyModel::stationPasswordRole,
        StandardTopologyModel::p2pSerialNumberRole,
        StandardTopologyModel::skyrCloudDeviceIdRole,
        StandardTopologyModel::isSKYRCloudDeviceRole,
        StandardTopologyModel::skyrCloudDeviceConnectTypeRole,
        StandardTopologyModel::isSKYRCloudRelayTimeoutRole,
        StandardTopologyModel::isWifiAvalibleRole,
        StandardTopologyModel::wifiAddressRole,
        StandardTopologyModel::multicastIpRole,
        StandardTopologyModel::multicastPortStartRole,
        StandardTopologyModel::multicastPortEndRole,
        StandardTopologyModel::nvrSupportCameraSettingRole,
        StandardTopologyModel::deepSearchVersionRole,
        StandardTopologyModel::serverVersionRole,
        StandardTopologyModel::stationGuidRole,
        StandardTopologyModel::camTypeRole,
        StandardTopologyModel::isVCARole,
        StandardTopologyModel::recordingRole,
        StandardTopologyModel::supportZoomModuleRole,
        StandardTopologyModel::portRole,
        StandardTopologyModel::brandRole,
        StandardTopologyModel::userRole,
        StandardTopologyModel::passwordRole,
        StandardTopologyModel::supportEventsRole,
        StandardTopologyModel::diCountRole,
        StandardTopologyModel::doCountRole,
        StandardTopologyModel::diNameListRole,
        StandardTopologyModel::doNameListRole,
        StandardTopologyModel::motionCountRole,
        StandardTopologyModel::channelRole,
        StandardTopologyModel::channelNumRole,
        StandardTopologyModel::supportDeepSearchRole,
        StandardTopologyModel::enableDeepSearchAttributeRole,
        StandardTopologyModel::reidRole,
        StandardTopologyModel::supportDeepSearchProtectRole,
        StandardTopologyModel::macRole,
        StandardTopologyModel::ptSpeedLevelRole,
        StandardTopologyModel::zoomSpeedLevelRole,
        StandardTopologyModel::supPPTZRole,
        StandardTopologyModel::isPPTZEnabledRole,
        StandardTopologyModel::protocolRole,
        StandardTopologyModel::enableMulticastRole,
        StandardTopologyModel::useServerTimeRole,
        StandardTopologyModel::suppVCARole,
        StandardTopologyModel::sdCardReadyRole,
        StandardTopologyModel::vcaVersionRole,
        StandardTopologyModel::vcaGitVersionRole,
        StandardTopologyModel::authWebsocketRole,
        StandardTopologyModel::supportSeamlessRole,
        StandardTopologyModel::suppMechPtzRole,
        StandardTopologyModel::suppZoomRole,
        StandardTopologyModel::supportTalkRole,
        StandardTopologyModel::suppRemoteFocusRole,
        StandardTopologyModel::suppIrisRole,
        StandardTopologyModel::supportWasherRole,
        StandardTopologyModel::supportVehicleDetectionRole,
        StandardTopologyModel::supportObjectMetadataRole,
        StandardTopologyModel::vcaProjectRole,
        StandardTopologyModel::urlRole,
        StandardTopologyModel::streamNumberRole,
        StandardTopologyModel::profileNumberRole,
        StandardTopologyModel::supportTimeShiftRole,
        StandardTopologyModel::suppPanRole,
        StandardTopologyModel::suppTiltRole,
        StandardTopologyModel::suppFocusRole,
        StandardTopologyModel::suppJoystickRole,
        StandardTopologyModel::vcaStatusRole,
        StandardTopologyModel::focusSpeedRole,
        StandardTopologyModel::useMACBindingRole,
        StandardTopologyModel::supportSAFRRole,
        StandardTopologyModel::supportLPRRole,
        StandardTopologyModel::supportNeuralLabLPRRole,
        StandardTopologyModel::supportVaxtorLPRRole,
        StandardTopologyModel::supportEdgeRecordingSettingsRole,
        StandardTopologyModel::firmwareVersionRole,
        StandardTopologyModel::fisheyeCapRole,
};

static_assert(std::size(kWholeNodeRoles) == 108, "the whole-node map has 108 fields");

// The model word of each camera type, by number; external devices (10) have none.
constexpr const char* kCameraModelWords[] = {
        "", "Box", "Bullet", "MiniBox", "PTZSpeedDome", "Cube", "MobileDome", "Fisheye", "FixedDome", "VideoServer",
        "", "MultiAngle"};
static_assert(std::size(kCameraModelWords) == StandardTopologyModel::MultiAngleCamera + 1, "one word per camera type");

// Every published role is named exactly as its enumerator, so the names come
// from the enumeration itself and cannot drift from the numbers.
const QHash<QByteArray, int>& roleNumbersByName()
{
    static const QHash<QByteArray, int> numbers = [] {
        const QHash<int, QByteArray> names = StandardTopologyModel::getRoleNames();
        QHash<QByteArray, int> result;
        result.reserve(names.size());
        for (auto it = names.cbegin(); it != names.cend(); ++it)
            result.insert(it.value(), it.key());
        return result;
    }();
    return numbers;
}

// The whole-node fields with their map keys, made once.
const QList<QPair<int, QString>>& wholeNodeFields()
{
    static const QList<QPair<int, QString>> fields = [] {
        const QHash<int, QByteArray> names = StandardTopologyModel::getRoleNames();
        QList<QPair<int, QString>> result;
        result.reserve(int(std::size(kWholeNodeRoles)));
        for (int role : kWholeNodeRoles)
            result.append({role, QString::fromLatin1(names.value(role))});
        return result;
    }();
    return fields;
}

} // namespace

StandardTopologyModel::StandardTopologyModel(QObject* parent)
    : QStandardItemModel(parent)
{
    // The index must be complete before any other listener of rowsInserted runs,
    // and emptied before the rows disappear; both connections are made first.
    connect(this, &QAbstractItemModel::rowsInserted, this, &StandardTopologyModel::genModelIndexMap,
            Qt::DirectConnection);
    connect(this, &QAbstractItemModel::rowsAboutToBeRemoved, this, &StandardTopologyModel::removeModelIndexMap);
    connect(this, &QAbstractItemModel::dataChanged, this, &StandardTopologyModel::followIdentifierChange,
            Qt::DirectConnection);
    // A reset through the base class's clear() must not leave the index pointing
    // at deleted rows.
    connect(this, &QAbstractItemModel::modelAboutToBeReset, this, &StandardTopologyModel::forgetAllIdentifiers,
            Qt::DirectConnection);
}

QHash<int, QByteArray> StandardTopologyModel::getRoleNames()
{
    static const QHash<int, QByteArray> names = [] {
        const QMetaEnum roles = QMetaEnum::fromType<Roles>();
        QHash<int, QByteArray> result;
        result.reserve(roles.keyCount());
        for (int i = 0; i < roles.keyCount(); ++i)
            result.insert(roles.value(i), QByteArray(roles.key(i)));
        return result;
    }();
    return names;
}

int StandardTopologyModel::convertRoleNameStringToEnum(const QString& roleName)
{
    return roleNumbersByName().value(roleName.toLocal8Bit(), 0);
}

int StandardTopologyModel::cameraTypeOf(const QVariant& modelOrType)
{
    bool isNumber = false;
    int type = UnknownCamera;
    if (modelOrType.typeId() == QMetaType::QString || modelOrType.typeId() == QMetaType::QByteArray) {
        // Model words are matched exactly: a word the table does not know is no type.
        const QString text = modelOrType.toString();
        for (int word = 0; word < int(std::size(kCameraModelWords)); ++word) {
            if (*kCameraModelWords[word] != '\0' && text == QLatin1String(kCameraModelWords[word]))
                return word;
        }
        type = text.toInt(&isNumber, 10);
    } else if (PayloadFields::isNumber(modelOrType)) {
        type = modelOrType.toInt(&isNumber);
    }
    return isNumber ? type : int(UnknownCamera);
}

QString StandardTopologyModel::cameraModelWord(int cameraType)
{
    if (cameraType < 0 || cameraType >= int(std::size(kCameraModelWords)))
        return QString();
    return QString::fromLatin1(kCameraModelWords[cameraType]);
}

QHash<int, QByteArray> StandardTopologyModel::roleNames() const
{
    // Stock delegates (TreeViewDelegate, ItemDelegate) bind to "display".
    static const QHash<int, QByteArray> names = [] {
        QHash<int, QByteArray> result = getRoleNames();
        result.insert(Qt::DisplayRole, QByteArrayLiteral("display"));
        return result;
    }();
    return names;
}

QVariant StandardTopologyModel::data(const QModelIndex& index, int role) const
{
    const QStandardItem* item = itemFromIndex(index);
    if (!item)
        return QVariant();
    if (role == Qt::DisplayRole)
        role = nameRole;
    if (role == dataRole) {
        const int itemType = item->data(standardItemTypeRole).toInt();
        if (itemType == DeviceItem || itemType == StationItem)
            return wholeNodeMap(index);
    }
    return QStandardItemModel::data(index, role);
}

bool StandardTopologyModel::setItemData(const QModelIndex& index, const QMap<int, QVariant>& roles)
{
    // Views bound to "display" refresh only when that role is named, so a new
    // name is written under it too and both are announced in one change.
    const auto name = roles.constFind(nameRole);
    if (name == roles.cend())
        return QStandardItemModel::setItemData(index, roles);
    QMap<int, QVariant> withShownName = roles;
    withShownName.insert(Qt::DisplayRole, *name);
    return QStandardItemModel::setItemData(index, withShownName);
}

QVariantMap StandardTopologyModel::wholeNodeMap(const QModelIndex& index) const
{
    // One copy of the item's values instead of 108 scans of its value list.
    const QMap<int, QVariant> values = itemData(index);
    QVariantMap result;
    for (const auto& [role, key] : wholeNodeFields())
        result.insert(key, values.value(role));
    return result;
}

QModelIndexList StandardTopologyModel::match(const QModelIndex& start, int role, const QVariant& value, int hits,
                                             Qt::MatchFlags flags) const
{
    if (role != idRole)
        return QStandardItemModel::match(start, role, value, hits, flags);
    const auto found = m_indexById.constFind(value.toString());
    if (found == m_indexById.constEnd() || !found->isValid())
        return QModelIndexList();
    return QModelIndexList{QModelIndex(*found)};
}

void StandardTopologyModel::clear()
{
    forgetAllIdentifiers();
    QStandardItemModel::clear();
}

void StandardTopologyModel::genModelIndexMap(const QModelIndex& parent, int first, int last)
{
    TreeWalk::forEachIndex(*this, parent, first, last, [this](const QModelIndex& node) {
        const QString id = QStandardItemModel::data(node, idRole).toString();
        m_indexById.insert(id, QPersistentModelIndex(node));
        m_idOfItem.insert(itemFromIndex(node), id);
    });
}

void StandardTopologyModel::removeModelIndexMap(const QModelIndex& parent, int first, int last)
{
    TreeWalk::forEachIndex(*this, parent, first, last, [this](const QModelIndex& node) {
        m_indexById.remove(QStandardItemModel::data(node, idRole).toString());
        m_idOfItem.remove(itemFromIndex(node));
    });
}

void StandardTopologyModel::followIdentifierChange(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                                   const QList<int>& roles)
{
    if (!topLeft.isValid() || topLeft.column() > 0)
        return;
    if (!roles.isEmpty() && !roles.contains(idRole))
        return;
    const QModelIndex parent = topLeft.parent();
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        const QModelIndex node = index(row, 0, parent);
        const auto filed = m_idOfItem.find(itemFromIndex(node));
        if (filed == m_idOfItem.end())
            continue;
        const QString newId = QStandardItemModel::data(node, idRole).toString();
        if (*filed == newId)
            continue;
        // The old key may belong to a later node with the same identifier; only
        // this node's own entry moves.
        const auto oldEntry = m_indexById.find(*filed);
        if (oldEntry != m_indexById.end() && *oldEntry == node)
            m_indexById.erase(oldEntry);
        m_indexById.insert(newId, QPersistentModelIndex(node));
        *filed = newId;
    }
}

QStringList StandardTopologyModel::identifierIndexFaults() const
{
    QStringList faults;
    QSet<QString> seen;
    qsizetype nodes = 0;
    TreeWalk::forEachIndex(*this, QModelIndex(), 0, rowCount() - 1, [&](const QModelIndex& node) {
        ++nodes;
        const QString id = QStandardItemModel::data(node, idRole).toString();
        if (seen.contains(id))
            faults << QStringLiteral("two nodes share the identifier \"%1\"").arg(id);
        seen.insert(id);
        if (m_indexById.value(id) != node)
            faults << QStringLiteral("\"%1\" does not find its node").arg(id);
        if (m_idOfItem.value(itemFromIndex(node)) != id)
            faults << QStringLiteral("the node \"%1\" is filed under another identifier").arg(id);
    });
    for (auto entry = m_indexById.cbegin(); entry != m_indexById.cend(); ++entry) {
        if (!entry->isValid() || QStandardItemModel::data(*entry, idRole).toString() != entry.key())
            faults << QStringLiteral("\"%1\" is indexed without a node of that identifier").arg(entry.key());
    }
    if (m_idOfItem.size() != nodes)
        faults << QStringLiteral("%1 nodes filed for %2 in the tree").arg(m_idOfItem.size()).arg(nodes);
    return faults;
}

void StandardTopologyModel::forgetAllIdentifiers()
{
    m_indexById.clear();
    m_idOfItem.clear();
}
