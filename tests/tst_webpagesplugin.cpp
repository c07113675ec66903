#include "IListToFileWriter.h"
#include "PluginTopologyMgt.h"
#include "SimulatedFramework.h"
#include "WebPageTreeModelController.h"

#include <QtTest>

// The plug-in's side of the web pages and of the list files: requests leave
// straight through the framework, the list comes back whole.
class WebPagesPluginTest : public QObject
{
    Q_OBJECT
private:
    struct RecordingWriter : IListToFileWriter
    {
        void write(const QString& filePath, const QStringList& lines) override { written.append({filePath, lines}); }
        QList<QPair<QString, QStringList>> written;
    };

    static QVariantList pages(std::initializer_list<const char*> names)
    {
        QVariantList list;
        int id = 0;
        for (const char* name : names)
            list.append(QVariantMap{{"id", QString::number(++id)}, {"pageName", name},
                                    {"url", QString("https://example.invalid/") + name}, {"iconType", id}});
        return list;
    }

private slots:
    void requestsLeaveStraightThroughTheFramework()
    {
        SimulatedFramework framework;
        PluginTopologyMgt plugin;
        plugin.InitialPluginBase(nullptr, nullptr, &framework);

        QVERIFY(plugin.addWebPage("Wiki", "https://wiki", 2));
        QVERIFY(plugin.editWebPage("7", "Wiki", "https://w", 3));
        QVERIFY(plugin.removeWebPage("7"));
        QVERIFY(plugin.getAllWebPage());
        framework.setAcceptsRequests(false);
        QVERIFY(!plugin.getAllWebPage());
        PluginTopologyMgt withoutFramework;
        withoutFramework.InitialPluginBase(nullptr, nullptr, nullptr);
        QVERIFY(!withoutFramework.addWebPage("Wiki", QString(), 0));

        const QList<RecordedRequest>& sent = framework.requests();
        QCOMPARE(framework.commandNames(), (QStringList{"addWebPage", "editWebPage", "removeWebPage", "getAllWebPage"}));
        QCOMPARE(sent.at(0).arguments.toMap(), (QVariantMap{{"pageName", "Wiki"}, {"url", "https://wiki"}, {"iconType", 2}}));
        QCOMPARE(sent.at(1).arguments.toMap().value("id").toString(), "7");
        QCOMPARE(sent.at(2).arguments, QVariant("7"));
        QVERIFY(!sent.at(3).arguments.isValid());
        for (const RecordedRequest& request : sent)
            QCOMPARE(request.pluginId, "5E0C7A2B9D4F4E18A6B3C2D1F0E9A874");
    }

    void theListIsReplacedWhole()
    {
        SimulatedFramework framework;
        PluginTopologyMgt plugin;
        framework.setPlugin(&plugin);
        plugin.InitialPluginBase(nullptr, nullptr, &framework);
        QSignalSpy changed(&plugin, &PluginTopologyMgt::webPageChanged);
        QObject owner;
        QAbstractItemModel* view = plugin.getWebPageTreeSortFilterModel(&owner);
        QVERIFY(view);
        QAbstractItemModelTester tester(view, QAbstractItemModelTester::FailureReportingMode::Fatal);

        // A change broadcast before any reply fills the list all the same.
        framework.broadcast("NotifyWebPageChanged", pages({"beta", "Alpha"}));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(plugin.queryWebPageName("2"), "Alpha");

        // A failed reply keeps it; a successful one replaces it whole.
        plugin.CommandProcessor("getAllWebPage", pages({"Gamma"}), nullptr, "1", QString(), true, QString());
        QCOMPARE(plugin.queryWebPageName("2"), "Alpha");
        QCOMPARE(changed.count(), 1);
        plugin.CommandProcessor("getAllWebPage", pages({"Gamma"}), nullptr, "0", QString(), true, QString());
        QCOMPARE(changed.count(), 2);
        QCOMPARE(plugin.queryWebPageName("1"), "Gamma");
        QCOMPARE(plugin.queryWebPageName("2"), QString());
        QCOMPARE(plugin.queryWebPageIconType("1"), 1);
        QCOMPARE(view->rowCount(), 1);
        QCOMPARE(view->rowCount(view->index(0, 0)), 1);
    }

    void replacedCollaboratorsAreUsed()
    {
        PluginTopologyMgt plugin;
        plugin.InitialPluginBase(nullptr, nullptr, nullptr);
        auto controller = std::make_shared<WebPageTreeModelController>();
        plugin.setWebPageTreeModelController(controller);
        plugin.CommandProcessor("getAllWebPage", pages({"Wiki"}), nullptr, "0", QString(), true, QString());
        QCOMPARE(controller->queryWebPageName("1"), "Wiki");

        auto writer = QSharedPointer<RecordingWriter>::create();
        plugin.setListToFileWriter(writer);
        plugin.setListFileLocations(ListFileLocations("/downloads"));
        plugin.generateStreamingUrlListFile({"a,b"});
        plugin.generateMacListOfAllCamera("/lists");
        QCOMPARE(writer->written.size(), 2);
        QCOMPARE(writer->written.at(0).first, "/downloads/StreamingUrlList.csv");
        QCOMPARE(writer->written.at(0).second, QStringList{"a,b"});
        QCOMPARE(writer->written.at(1).first, "/lists/QELM2Generated_MacList.txt");
    }
};

QTEST_MAIN(WebPagesPluginTest)
#include "tst_webpagesplugin.moc"
