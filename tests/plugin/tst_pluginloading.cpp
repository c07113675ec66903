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

    // QML binds by name at run time: signals return nothing, properties are
    // read-only flags that announce their changes, and the request entry point is
    // the only slot, so that views cannot call into the host's dispatch.
    void metaObjectKeepsTheBindingRules()
    {
        QPluginLoader loader(pluginFile());
        QVERIFY2(loader.load(), qPrintable(loader.errorString()));
        const QMetaObject* meta = loader.instance()->metaObject();
        QCOMPARE(meta->className(), "PluginTopologyMgt");

        QStringList slotList;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if (method.methodType() == QMetaMethod::Signal)
                QVERIFY2(method.returnType() == QMetaType::Void, method.methodSignature().constData());
            else if (method.methodType() == QMetaMethod::Slot && method.access() == QMetaMethod::Public)
                slotList << QString::fromLatin1(method.methodSignature());
        }
        QCOMPARE(slotList, QStringList{"sendCommandToServer(QString,QVariant,void*,bool)"});
        QCOMPARE(meta->propertyCount() - meta->propertyOffset(), 6);
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            QVERIFY2(!property.isWritable() && property.typeId() == QMetaType::Bool, property.name());
            QCOMPARE(property.notifySignal().name(), QByteArray(property.name()) + "Changed");
        }
    }
};

QTEST_MAIN(PluginLoadingTest)
#include "tst_pluginloading.moc"
