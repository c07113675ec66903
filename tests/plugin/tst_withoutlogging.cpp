#include "ModuleLog.h"
#include "PluginTopologyMgt.h"
#include "SimulatedFramework.h"

#include <QtTest>

// This suite runs where the logging library cannot be found: paths that log
// must behave exactly as they do with it.
class WithoutLoggingTest : public QObject
{
    Q_OBJECT
private slots:
    void modulesWorksSilentlyWithoutTheLibrary()
    {
        SimulatedFramework framework;
        PluginTopologyMgt plugin;
        framework.setPlugin(&plugin);
        QVERIFY(plugin.InitialPluginBase(nullptr, nullptr, &framework));
        QVERIFY(!ModuleLog::instance().isAvailable());
        QSignalSpy inserted(&plugin, &PluginTopologyMgt::stationInserted);

        // Paths that write log lines when the library is there.
        framework.setAcceptsRequests(false);
        plugin.sendCommandToServer(QStringLiteral("RetrieveServerInfo"), QVariant(), nullptr, false);
        framework.setAcceptsRequests(true);
        plugin.CommandProcessor(QStringLiteral("RetrieveDeviceTopology"), QVariant(), nullptr, QStringLiteral("1"),
                                QString(), true, QString());
        plugin.CommandProcessor(QStringLiteral("RetrieveLoginStationInfo"),
                                QVariantMap{{QStringLiteral("stationName"), QStringLiteral("s_HQ")}}, nullptr,
                                QStringLiteral("0"), QString(), true, QString());
        plugin.CommandProcessor(QStringLiteral("whoAmI"), QStringLiteral("client-1"), nullptr, QStringLiteral("0"),
                                QString(), true, QString());

        QCOMPARE(inserted.count(), 1);
        QCOMPARE(inserted.first().at(1).toString(), QStringLiteral("HQ"));
        QCOMPARE(plugin.clientId(), QStringLiteral("client-1"));
        QCOMPARE(plugin.getStandardTopologyModel()->rowCount(), 1);
    }
};

QTEST_MAIN(WithoutLoggingTest)
#include "tst_withoutlogging.moc"
