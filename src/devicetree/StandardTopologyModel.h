#pragma once

#include <QHash>
#include <QMap>
#include <QPersistentModelIndex>
#include <QStandardItemModel>
#include <QStringList>

// The item model that holds the device tree: one QStandardItem per station,
// camera, removed camera and removed-camera folder, every field under a named
// role. It adds the published role names, a look-up of a node by identifier that
// never walks the tree, and a whole-node read through dataRole for declarative views.
//
// The identifier index follows the model's own notifications only: rows are
// indexed when rowsInserted reports them (a subtree inserted in one block is
// findable at once) and unindexed on rowsAboutToBeRemoved, children before their
// parent. A node whose idRole is changed after insertion (the login station is
// inserted with an empty identifier and named later) is re-indexed from the
// model's own dataChanged, so look-ups follow the new text and no longer find the
// old one. Two nodes with one identifier: the later one wins, and removing either
// drops the look-up of both. A model reset, whether through clear() or the base
// class's, empties the index.
class StandardTopologyModel : public QStandardItemModel
{
    Q_OBJECT
public:
    // Role numbers are part of the contract with views and other plug-ins; 298 is
    // deliberately unused.
    enum Roles {
        idRole = 257,
        dataRole = 258,
        nameRole = 259,
        nodeIDRole = 260,
        levelRole = 261,
        nodeTypeRole = 262,
        ipRole = 263,
        hiddenInLiveRole = 264,
        processingStatusRole = 265,
        selectionRole = 266,
        parentStationIDRole = 267,
        modelRole = 268,
        standardItemTypeRole = 269,
        bruteForceAttackCapRole = 270,
        cyberAttackCapRole = 271,
        quarantineEventCapRole = 272,
        useSSLRole = 273,
        httpPortRole = 274,
        httpsPortRole = 275,
        relayEnabledRole = 276,
        nvrEventSearchRole = 277,
        isNVRStationRole = 278,
        gpsConnectionEventCapRole = 279,
        gpsSpeedLimitationEventCapRole = 280,
        gSensorEventCapRole = 281,
        fanStatusEventCapRole = 282,
        isQELM2Role = 283,
        connectedRole = 284,
        redundantServerRole = 285,
        nasDomainRole = 286,
        nasUsernameRole = 287,
        nasPasswordRole = 288,
        isCMSRedundantServerRole = 289,
        stationPasswordRole = 290,
        p2pSerialNumberRole = 291,
        skyrCloudDeviceIdRole = 292,
        isSKYRCloudDeviceRole = 293,
        skyrCloudDeviceConnectTypeRole = 294,
        isSKYRCloudRelayTimeoutRole = 295,
        isWifiAvalibleRole = 296,
        wifiAddressRole = 297,
        multicastIpRole = 299,
        multicastPortStartRole = 300,
        multicastPortEndRole = 301,
        camTypeRole = 302,
        isVCARole = 303,
        recordingRole = 304,
        supportZoomModuleRole = 305,
        portRole = 306,
        brandRole = 307,
        userRole = 308,
        supportEventsRole = 309,
        doCountRole = 310,
        diCountRole = 311,
        motionCountRole = 312,
        channelRole = 313,
        channelNumRole = 314,
        supportDeepSearchRole = 315,
        camIDRole = 316,
        passwordRole = 317,
        camModelRole = 318,
        supportEdgeRecRole = 319,
        ruleInfoListRole = 320,
        suppMechPtzRole = 321,
        suppPanRole = 322,
        suppTiltRole = 323,
        suppZoomRole = 324,
        suppFocusRole = 325,
        suppIrisRole = 326,
        suppJoystickRole = 327,
        suppAutoTrackingRole = 328,
        supportTalkRole = 329,
        supportSeamlessRole = 330,
        sdCardReadyRole = 331,
        streamNumberRole = 332,
        supportTimeShiftRole = 333,
        resolutionListRole = 334,
        urlRole = 335,
        suppSmartMotionRole = 336,
        supportVehicleDetectionRole = 337,
        suppSmartTrackingRole = 338,
        focusSpeedRole = 339,
        supPPTZRole = 340,
        isPPTZEnabledRole = 341,
        supportWasherRole = 342,
        supportObjectMetadataRole = 343,
        vcaVersionRole = 344,
        vcaProjectRole = 345,
        supportSmartVCARole = 346,
        authWebsocketRole = 347,
        supportZoneDetectionRole = 348,
        supportSmartSDRole = 349,
        supportAudioDetectionRole = 350,
        supportShockDetectionRole = 351,
        vcaStatusRole = 352,
        enableMulticastRole = 353,
        useServerTimeRole = 354,
        macRole = 355,
        protocolRole = 356,
        usernameRole = 357,
        runningDetectionRole = 358,
        parkingViolationDetectionRole = 359,
        restrictedZoneDetectionRole = 360,
        suppVCARole = 361,
        ptSpeedLevelRole = 362,
        zoomSpeedLevelRole = 363,
        suppRemoteFocusRole = 364,
        takenOverRole = 365,
        takenOverIdRole = 366,
        diNameListRole = 367,
        doNameListRole = 368,
        enableDeepSearchAttributeRole = 369,
        reidRole = 370,
        useMACBindingRole = 371,
        nvrSupportCameraSettingRole = 372,
        supportDeepSearchProtectRole = 373,
        deepSearchVersionRole = 374,
        supportSAFRRole = 375,
        supportLPRRole = 376,
        supportNeuralLabLPRRole = 377,
        supportVaxtorLPRRole = 378,
        serverVersionRole = 379,
        displayNameRole = 380,
        stationGuidRole = 381,
        isUseEdgeRecordingRole = 382,
        edgeRecordingStreamRole = 383,
        supportEdgeRecordingRole = 384,
        supportEdgeRecordingSettingsRole = 385,
        firmwareVersionRole = 386,
        fisheyeCapRole = 387,
        vcaCapabilityRole = 388,
        vcaGitVersionRole = 389,
        profileNumberRole = 390,
        hasEdgeRecordingFileRole = 391,
    };
    Q_ENUM(Roles)

    // Stored under nodeTypeRole.
    enum NodeType {
        CameraNode = 0,
        StationNode = 1,
        RemovedCameraNode = 2,
        RemovedCameraFolderNode = 4,
    };
    Q_ENUM(NodeType)

    // Stored under camTypeRole, always as a plain int; filled in once camera
    // information has arrived.
    enum CameraType {
        UnknownCamera = 0,
        BoxCamera = 1,
        BulletCamera = 2,
        MiniBoxCamera = 3,
        PTZSpeedDomeCamera = 4,
        CubeCamera = 5,
        MobileDomeCamera = 6,
        FisheyeCamera = 7,
        FixedDomeCamera = 8,
        VideoServer = 9,
        CameraExternalDevice = 10,
        MultiAngleCamera = 11,
    };
    Q_ENUM(CameraType)

    // Stored under standardItemTypeRole; only these two kinds are read whole
    // through dataRole.
    enum StandardItemType {
        DeviceItem = 0,
        StationItem = 2,
    };

    explicit StandardTopologyModel(QObject* parent = nullptr);

    static QHash<int, QByteArray> getRoleNames();
    // 0 when no role has that name.
    static int convertRoleNameStringToEnum(const QString& roleName);

    // The camera type of a value sent for a camera's model or kind: a number as
    // itself, a decimal text as its number, a model word ("FixedDome") as its
    // type, anything else UnknownCamera. Every value stored under camTypeRole
    // passes through here, so views can compare it with a number.
    static int cameraTypeOf(const QVariant& modelOrType);
    // The model word of a camera type ("FixedDome" for 8); empty for unknown
    // types and for external devices, which have no model word.
    static QString cameraModelWord(int cameraType);

    QHash<int, QByteArray> roleNames() const override;
    // Qt::DisplayRole reads nameRole, so that stock delegates show the node's name.
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    // A change of nameRole is announced for Qt::DisplayRole as well, in the same dataChanged.
    bool setItemData(const QModelIndex& index, const QMap<int, QVariant>& roles) override;
    // For idRole the answer comes from the identifier index and start, hits and
    // flags are ignored; every other role is matched by the base model.
    QModelIndexList match(const QModelIndex& start, int role, const QVariant& value, int hits = 1,
                          Qt::MatchFlags flags = Qt::MatchFlags(Qt::MatchStartsWith | Qt::MatchWrap)) const override;

    void clear();

    // Walks the whole tree and compares it with the identifier index: every
    // node must be found under its own identifier, no two nodes may share
    // one, and the index must hold nothing else. Returns one line per fault,
    // none when they agree. For tests and debugging; it costs a walk.
    QStringList identifierIndexFaults() const;

protected:
    void genModelIndexMap(const QModelIndex& parent, int first, int last);
    void removeModelIndexMap(const QModelIndex& parent, int first, int last);

private:
    void followIdentifierChange(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);
    void forgetAllIdentifiers();
    QVariantMap wholeNodeMap(const QModelIndex& index) const;

    QMap<QString, QPersistentModelIndex> m_indexById;
    // The text each indexed item was filed under, so that a changed idRole can be
    // moved to its new key without searching the index.
    QHash<const QStandardItem*, QString> m_idOfItem;
};
