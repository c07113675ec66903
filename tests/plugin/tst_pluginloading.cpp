#include "PluginBase.h"
#include "SimulatedFramework.h"

#include <QCborMap>
#include <QDir>
#include <QJsonObject>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QPluginLoader>
#include <QtTest>

// The host only ever sees the built plug-in file: it must load through
// QPluginLoader, describe itself in its metadata and answer as a PluginBase.
class PluginLoadingTest : public QObject
{
    Q_OBJECT
private:
    static QString pluginFile()
    {
        const QDir directory(QString::fromLocal8Bit(qgetenv("TOPOLOGY_PLUGIN_DIR")));
        const QStringList candidates = directory.entryList(QStringList() << QStringLiteral("*PluginTopologyMgt*"),
                                                           QDir::Files);
        return candidates.isEmpty() ? QString() : directory.filePath(candidates.first());
    }

    // The surface the QML views and other plug-ins program against, written out
    // here so that a rename, a dropped signal or a changed argument type fails
    // instead of silently breaking a binding at run time.
    static QStringList expectedSignals()
    {
        return {QStringLiteral("didoNodeChanged(QString)"),
                QStringLiteral("updateVCARulesResp(QString)"),
                QStringLiteral("nodeInserted(QString)"),
                QStringLiteral("standardNodeInserted(QString)"),
                QStringLiteral("nodeStatusChanged(int,QString,bool)"),
                QStringLiteral("cameraRecordingStatusChanged(QString,bool)"),
                QStringLiteral("getCameraStatusResp(QString,QVariant)"),
                QStringLiteral("moveLogicalTreeNodeResp(bool)"),
                QStringLiteral("moveLogicalTreeNodeComplete()"),
                QStringLiteral("renameFolderResponded(QString,bool)"),
                QStringLiteral("removeLogicalTreeItemResp(bool)"),
                QStringLiteral("logicalTreeFolderInserted(bool,QString)"),
                QStringLiteral("topologyRetrievedChanged(bool)"),
                QStringLiteral("locationRetrievedChanged(bool)"),
                QStringLiteral("nodeInfoRetrievedChanged(bool)"),
                QStringLiteral("serverInfoRetrievedChanged(bool)"),
                QStringLiteral("camStatusRetrievedChanged(bool)"),
                QStringLiteral("logicalTreeRetrievedChanged(bool)"),
                QStringLiteral("diStatusChanged(QString,int,bool)"),
                QStringLiteral("doStatusChanged(QString,int,bool)"),
                QStringLiteral("addDeviceIntoLogicalTreeResp(bool)"),
                QStringLiteral("addStationIntoLogicalTreeResp(bool)"),
                QStringLiteral("cameraNameChanged(QString,QString)"),
                QStringLiteral("cameraVCAProjectChanged(QString)"),
                QStringLiteral("stationInserted(QString,QString,QString)"),
                QStringLiteral("stationRemoved(QString)"),
                QStringLiteral("deviceRemoved(QString)"),
                QStringLiteral("stationConnectionStatusChanged(QString,bool,bool)"),
                QStringLiteral("stationWifiConnectionStatusChanged(QString,bool)"),
                QStringLiteral("stationNameChanged(QString,QString)"),
                QStringLiteral("stationTakenOverChanged(QString,bool)"),
                QStringLiteral("failoverStatusChanged(QString,QString,QString)"),
                QStringLiteral("getLogicalTreePathIdsResponse(QVariantList)"),
                QStringLiteral("deviceInfoRetrieved(QString)"),
                QStringLiteral("cameraAndStationConnectionStatusRetrieved()"),
                QStringLiteral("refreshCameraInfoResp(bool,bool,QString,QString)"),
                QStringLiteral("getAllWebPageResp(QVariantList)"),
                QStringLiteral("notifyWebPageChanged(QVariantList)"),
                QStringLiteral("webPageChanged()"),
                QStringLiteral("locationIDChanged(QString)"),
                QStringLiteral("restoreUngroupedDevicesFinished()"),
                QStringLiteral("serverDisconnected()")};
    }

    // Return type and signature of the slot and every invokable operation, in
    // declaration order.
    static QStringList expectedOperations()
    {
        return {
            QStringLiteral("void sendCommandToServer(QString,QVariant,void*,bool)"),
            // Retrieval, rules and server information.
            QStringLiteral("void retrieveDeviceTopology(QString)"),
            QStringLiteral("void retrieveAllDeviceTopology(QString)"),
            QStringLiteral("void retrieveLogicalTree()"),
            QStringLiteral("void getCameraStatus(QString,QString)"),
            QStringLiteral("void updateVCARules()"),
            QStringLiteral("void getServerInfo()"),
            // Topology queries.
            QStringLiteral("QVariantList getCameraInfoList()"),
            QStringLiteral("QVariant cameraInfoFrom(QString,QString)"),
            QStringLiteral("QVariantMap cameraInfoMap(QString)"),
            QStringLiteral("QVariant deviceInfoFrom(QString,QString)"),
            QStringLiteral("void refreshCameraInfo(QVariantMap,bool)"),
            // Device models and device-tree queries.
            QStringLiteral("QAbstractItemModel* getStandardTopologyModel()"),
            QStringLiteral("QAbstractItemModel* getFilteredStandardTopologyModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getTrendMicroDeviceModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getSmartVCADeviceModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getThermalDeviceModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getGeneralDeviceModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getCountingCameraDeviceTreeModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getTreeToListProxyModel(QObject*,QAbstractItemModel*)"),
            QStringLiteral("QVariantMap getValuesFromModel(int,QString,QString)"),
            QStringLiteral("QVariant getValueFromModel(int,QString,QString)"),
            QStringLiteral("QVariantMap getCameraNames()"),
            QStringLiteral("QVariantList getStationTree()"),
            QStringLiteral("QVariantMap getStationMap()"),
            QStringLiteral("QStringList getStationRelayPathList(bool)"),
            QStringLiteral("QVariantList getLinuxNVRInfoList(QString)"),
            QStringLiteral("QVariantMap getRootStationNameAndCameras()"),
            QStringLiteral("void setProcessingStatus(QString,QString,int)"),
            QStringLiteral("QStringList getCameraResolutionList(QString,QString)"),
            QStringLiteral("QVariantMap getDeviceTreeMap()"),
            QStringLiteral("QVariantMap getHMDeviceTreeMap()"),
            QStringLiteral("QVariantList getTalvixChannelInfoList()"),
            QStringLiteral("QVariantMap getTalvixChannelInfo(int)"),
            QStringLiteral("QVariantList getUpgradeStationTreeList()"),
            QStringLiteral("QVariantList didoNodeInfoFrom(QString,QString)"),
            QStringLiteral("bool hasStationOrCameraInRootStation()"),
            QStringLiteral("bool existedInDeviceTree(QString)"),
            // Logical tree.
            QStringLiteral("QAbstractItemModel* getFullLogicalTreeModel()"),
            QStringLiteral("QAbstractItemModel* getLogicalTreeModel()"),
            QStringLiteral("QAbstractItemModel* getLogicalTreeSortFilterModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getLogicalTreeAdvancedSortFilterModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getLogicalTreeAdvancedSortFilterModelWithIODevices(QObject*)"),
            QStringLiteral("QAbstractItemModel* getLogicalTreeFolderModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getLogicalTreeIDFilterModel(QObject*,QAbstractItemModel*)"),
            QStringLiteral("void setLogicalTreeSettingStatus(QString,QString,int)"),
            QStringLiteral("void setLogicalTreeSettingStatus(QString,int)"),
            QStringLiteral("void moveLogicalTreeNode(QStringList,QString)"),
            QStringLiteral("void renameLogicalTreeFolder(QString,QString)"),
            QStringLiteral("void insertLogicalTreeFolder(QString,QString)"),
            QStringLiteral("void removeLogicalTreeItem(QStringList,bool)"),
            QStringLiteral("void addDeviceIntoLogicalTree(QStringList,QString)"),
            QStringLiteral("void addStationIntoLogicalTree(QStringList,QStringList,QString)"),
            QStringLiteral("void getLogicalTreePathIds(QVariantList)"),
            QStringLiteral("void addLogicalTreeDefaultRootNode()"),
            QStringLiteral("QVariantMap getLogicalTreeMap()"),
            QStringLiteral("QVariant logicalTreeInfoFrom(QString,int)"),
            QStringLiteral("bool existedInLogicalTree(QString)"),
            QStringLiteral("void restoreUngroupedDevices()"),
            // Failover.
            QStringLiteral("bool isStationTakenOver(QString)"),
            QStringLiteral("QAbstractItemModel* getFailoverTopologyModel(QObject*)"),
            QStringLiteral("QAbstractItemModel* getFailoverTopologyModelWithoutRedundantServer(QObject*)"),
            // Web pages.
            QStringLiteral("QAbstractItemModel* getWebPageTreeSortFilterModel(QObject*)"),
            QStringLiteral("bool addWebPage(QString,QString,int)"),
            QStringLiteral("bool removeWebPage(QString)"),
            QStringLiteral("bool editWebPage(QString,QString,QString,int)"),
            QStringLiteral("bool getAllWebPage()"),
            QStringLiteral("QString queryWebPageName(QString)"),
            QStringLiteral("QString queryWebPageUrl(QString)"),
            QStringLiteral("int queryWebPageIconType(QString)"),
            // Locations and local databases.
            QStringLiteral("void addNewLocation(QVariantMap,QString,QString)"),
            QStringLiteral("void addNewLocalDB(QVariantMap,QString)"),
            QStringLiteral("void clearLocalDBLocations()"),
            QStringLiteral("bool hasLocalDBNodes()"),
            QStringLiteral("QString getCameraNameFromLocation(QString,QString)"),
            QStringLiteral("QVariant locationDataFrom(QString,QString)"),
            QStringLiteral("QVariantMap locationInfo(QString)"),
            QStringLiteral("void switchLocationID(QString,QString)"),
            QStringLiteral("QString getCameraNameByLocID(QString,QString)"),
            // Standalone player and list files.
            QStringLiteral("QAbstractItemModel* getStandalonePlayerLocalDBModel(QObject*)"),
            QStringLiteral("void addNewStandalonePlayerLocation(QVariantMap,QString,QString)"),
            QStringLiteral("void addNewStandalonePlayerLocalDB(QVariantMap,QString)"),
            QStringLiteral("void clearStandalonePlayerLocalDB()"),
            QStringLiteral("bool hasLocalDBNodesInStandalonePlayer()"),
            QStringLiteral("QString getStreamingUrlListFilePath()"),
            QStringLiteral("void generateStreamingUrlListFile(QStringList)"),
            QStringLiteral("void generateMacListOfAllCamera(QString)")};
    }

    // Read-only boolean properties, each with its change signal.
    static QStringList expectedProperties()
    {
        return {QStringLiteral("bool topologyRetrieved notify topologyRetrievedChanged"),
                QStringLiteral("bool logicalTreeRetrieved notify logicalTreeRetrievedChanged"),
                QStringLiteral("bool locationRetrieved notify locationRetrievedChanged"),
                QStringLiteral("bool nodeInfoRetrieved notify nodeInfoRetrievedChanged"),
                QStringLiteral("bool serverInfoRetrieved notify serverInfoRetrievedChanged"),
                QStringLiteral("bool camStatusRetrieved notify camStatusRetrievedChanged")};
    }

private slots:
    void metadataDescribesThePlugin()
    {
        QPluginLoader loader(pluginFile());
        const QJsonObject metaData = loader.metaData();

        QCOMPARE(metaData.value(QStringLiteral("IID")).toString(), QStringLiteral(PluginBase_iid));
        QCOMPARE(metaData.value(QStringLiteral("className")).toString(), QStringLiteral("PluginTopologyMgt"));
        const QJsonObject custom = metaData.value(QStringLiteral("MetaData")).toObject();
        QCOMPARE(custom.value(QStringLiteral("ClientOnly")), QJsonValue(false));
        QCOMPARE(custom.value(QStringLiteral("PluginID")).toString(),
                 QStringLiteral("5E0C7A2B9D4F4E18A6B3C2D1F0E9A874"));
    }

    void instanceActsAsHostPlugin()
    {
        QPluginLoader loader(pluginFile());
        QVERIFY2(loader.load(), qPrintable(loader.errorString()));
        auto* plugin = qobject_cast<PluginBase*>(loader.instance());
        QVERIFY(plugin);

        SimulatedFramework framework;
        framework.setPlugin(plugin);
        int hostHandle = 0;
        QVERIFY(plugin->InitialPluginBase(nullptr, &hostHandle, &framework));
        QCOMPARE(plugin->pluginName(), QStringLiteral("TopologyMgtPlugin"));
        QCOMPARE(plugin->pluginId(), QStringLiteral("5E0C7A2B9D4F4E18A6B3C2D1F0E9A874"));

        plugin->PluginServerConnected();
        QVERIFY(!framework.requests().isEmpty());
        for (const RecordedRequest& request : framework.requests()) {
            QCOMPARE(request.hostHandle, static_cast<void*>(&hostHandle));
            QCOMPARE(request.pluginId, QStringLiteral("5E0C7A2B9D4F4E18A6B3C2D1F0E9A874"));
        }
        QCOMPARE(framework.commandNames().last(), QStringLiteral("whoAmI"));
        plugin->PluginServerDisconnected();
    }

    void metaObjectOffersTheWrittenSurface()
    {
        QPluginLoader loader(pluginFile());
        QVERIFY2(loader.load(), qPrintable(loader.errorString()));
        const QMetaObject* meta = loader.instance()->metaObject();
        QCOMPARE(meta->className(), "PluginTopologyMgt");

        QStringList signalList;
        QStringList operations;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            const QString signature = QString::fromLatin1(method.methodSignature());
            if (method.methodType() == QMetaMethod::Signal) {
                QCOMPARE(method.returnType(), QMetaType::Void);
                signalList << signature;
            } else if (method.access() == QMetaMethod::Public) {
                operations << QString::fromLatin1(method.typeName()) + QLatin1Char(' ') + signature;
            }
        }
        QStringList properties;
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            QVERIFY2(!property.isWritable(), property.name());
            properties << QStringLiteral("%1 %2 notify %3")
                              .arg(QString::fromLatin1(property.typeName()), QString::fromLatin1(property.name()),
                                   QString::fromLatin1(property.notifySignal().name()));
        }

        QCOMPARE(signalList, expectedSignals());
        QCOMPARE(operations, expectedOperations());
        QCOMPARE(properties, expectedProperties());
        // Only the request slot is a slot; everything else is an invokable operation.
        QCOMPARE(meta->method(meta->indexOfMethod("sendCommandToServer(QString,QVariant,void*,bool)")).methodType(),
                 QMetaMethod::Slot);
    }
};

QTEST_MAIN(PluginLoadingTest)
#include "tst_pluginloading.moc"
