#include "PluginTopologyMgt.h"
#include "SimulatedFramework.h"
#include "TestSupport.h"
#include "WebPageTreeFilterSortModel.h"
#include "WebPageTreeModelController.h"

#include <QAbstractItemModelTester>
#include <QtTest>

#include <memory>

using Controller = WebPageTreeModelController;
using Tester = QAbstractItemModelTester;

namespace {

QVariantMap page(const QString& id, const QString& name, const QString& url = QString(), int iconType = 0)
{
    return {{"id", id}, {"pageName", name}, {"url", url}, {"iconType", iconType}};
}

QVariantList pagesNamed(const QStringList& names)
{
    QVariantList pages;
    for (const QString& name : names)
        pages.append(page(QStringLiteral("WP_%1").arg(pages.size() + 1), name));
    return pages;
}

QStringList childNames(const QAbstractItemModel* model, const QModelIndex& parent)
{
    QStringList names;
    for (int row = 0; row < model->rowCount(parent); ++row)
        names << model->index(row, 0, parent).data(Controller::pageNameRole).toString();
    return names;
}

// A controller and a proxy over it, with Qt's checks on both and a recorder on
// the controller's model, attached before the first change.
struct Fixture
{
    QObject view;
    std::shared_ptr<Controller> controller = std::make_shared<Controller>();
    WebPageTreeFilterSortModel* proxy = controller->getSortFilterModel(&view);
    QAbstractItemModel* source = proxy->sourceModel();
    Tester sourceTester{source, Tester::FailureReportingMode::Fatal};
    Tester proxyTester{proxy, Tester::FailureReportingMode::Fatal};
    ModelNotificationRecorder recorder{source, Controller::pageNameRole};

    QStringList shownPages() const { return childNames(proxy, proxy->index(0, 0)); }
    // The root's row, if it shows, and the pages under it.
    QStringList shownWithRoot() const { return childNames(proxy, QModelIndex()) + shownPages(); }
};

} // namespace

class TestWebPages : public QObject
{
    Q_OBJECT

private slots:
    void listIsReplacedWhole();
    void recordsAreReadForgivinglyThroughTheRoleNames();
    void sortsAndFiltersByNameIgnoringCase();
    void pluginSendsRequestsStraightThroughTheFramework();
    void pluginListFollowsRepliesAndChangeBroadcasts();
};

void TestWebPages::listIsReplacedWhole()
{
    // given a fresh controller, before any reply
    Fixture f;
    QCOMPARE(f.source->index(0, 0).data(Controller::webPageRole).toMap(),
             QVariantMap({{"id", "root"}, {"pageName", "Web page"}, {"url", ""}}));
    const QVariantList first = {page("WP_1", "Intranet", "http://in", 1), page("WP_2", "Wiki"), page("WP_3", "Door")};
    const QVariantList second = {page("WP_3", "Door panel", "http://door", 4), page("WP_9", "Maps")};
    // when a change broadcast, then a reply, bring their lists
    QVERIFY(f.controller->replaceAllWebPages(first));
    QVERIFY(f.controller->replaceAllWebPages(second));
    // then each list replaces the one before, in the order received
    QCOMPARE(f.recorder.lines(), QStringList({"insert 0..2 under Web page", "inserted 0..2 under Web page",
                                              "remove 0..2 under Web page", "removed 0..2 under Web page",
                                              "insert 0..1 under Web page", "inserted 0..1 under Web page"}));
    QCOMPARE(f.controller->getWebPageList(), second);
    QCOMPARE(f.controller->queryWebPageName("root"), QString());

    // when payloads that are no list arrive, nothing changes
    f.recorder.clear();
    for (const QVariant& malformed : {QVariant(), QVariant(page("WP_7", "Lone")), QVariant(QStringList({"WP_1"}))})
        QVERIFY(!f.controller->replaceAllWebPages(malformed));
    QCOMPARE(f.recorder.lines(), QStringList());
    QCOMPARE(f.controller->getWebPageList(), second);

    // when an empty list arrives, then only the root is left
    QVERIFY(f.controller->replaceAllWebPages(QVariantList()));
    QCOMPARE(f.recorder.lines(), QStringList({"remove 0..1 under Web page", "removed 0..1 under Web page"}));
    QCOMPARE(f.source->rowCount(), 1);
}

void TestWebPages::recordsAreReadForgivinglyThroughTheRoleNames()
{
    // given elements that are no records, and a record with fields of the wrong types
    Fixture f;
    const QVariantMap odd = {{"id", 7}, {"pageName", 42}, {"url", QVariantList({"x"})}, {"iconType", "3"}};
    // when
    f.controller->replaceAllWebPages(QVariantList({QVariant(), "WP_0", QVariantList({page("N", "Nested")}), odd}));
    // then a view reading the published role names sees the one usable record
    QCOMPARE(f.source->rowCount(f.source->index(0, 0)), 1);
    const QModelIndex oddPage = f.source->index(0, 0, f.source->index(0, 0));
    const QVariantList expected = {"7", "42", "", 3, odd};
    const QByteArrayList roleNames = {"pageId", "pageName", "url", "iconType", "webPage"};
    for (int i = 0; i < roleNames.size(); ++i)
        QCOMPARE(oddPage.data(f.source->roleNames().key(roleNames.at(i))), expected.at(i));
}

void TestWebPages::sortsAndFiltersByNameIgnoringCase()
{
    // given
    Fixture f;
    f.controller->replaceAllWebPages(pagesNamed({"beta", "Alpha", "Gamma", "alpha 2"}));
    // when / then
    f.proxy->setSort(Qt::AscendingOrder);
    QCOMPARE(f.shownPages(), QStringList({"Alpha", "alpha 2", "beta", "Gamma"}));
    f.proxy->setSort(Qt::DescendingOrder);
    QCOMPARE(f.shownPages(), QStringList({"Gamma", "beta", "alpha 2", "Alpha"}));
    f.controller->replaceAllWebPages(pagesNamed({"delta", "Charlie", "Echo"}));
    QCOMPARE(f.shownPages(), QStringList({"Echo", "delta", "Charlie"}));

    // when a filter is set while the list is empty and the list arrives, then matching pages show
    Fixture g;
    g.proxy->setFilterFixedString("PORT");
    g.controller->replaceAllWebPages(pagesNamed({"Intranet", "Portal", "Camera portal"}));
    QCOMPARE(g.shownWithRoot(), QStringList({"Web page", "Portal", "Camera portal"}));
    // when only the root's own name matches, or nothing does, then the root shows exactly while it matches
    g.proxy->setFilterFixedString("web");
    QCOMPARE(g.shownWithRoot(), QStringList({"Web page"}));
    g.proxy->setFilterFixedString("zzz");
    QCOMPARE(g.shownWithRoot(), QStringList());
}

void TestWebPages::pluginSendsRequestsStraightThroughTheFramework()
{
    // given a plug-in with a framework and one without
    SimulatedFramework framework;
    PluginTopologyMgt plugin;
    plugin.InitialPluginBase(nullptr, nullptr, &framework);
    PluginTopologyMgt withoutFramework;
    withoutFramework.InitialPluginBase(nullptr, nullptr, nullptr);
    // when
    QVERIFY(plugin.addWebPage("Wiki", "https://wiki", 2));
    QVERIFY(plugin.editWebPage("7", "Wiki", "https://w", 3));
    QVERIFY(plugin.removeWebPage("7"));
    QVERIFY(plugin.getAllWebPage());
    framework.setAcceptsRequests(false);
    QVERIFY(!plugin.getAllWebPage());
    QVERIFY(!withoutFramework.addWebPage("Wiki", QString(), 0));
    // then
    const QList<RecordedRequest>& sent = framework.requests();
    QCOMPARE(framework.commandNames(), (QStringList{"addWebPage", "editWebPage", "removeWebPage", "getAllWebPage"}));
    QCOMPARE(sent.at(0).arguments.toMap(), (QVariantMap{{"pageName", "Wiki"}, {"url", "https://wiki"}, {"iconType", 2}}));
    QCOMPARE(sent.at(1).arguments.toMap().value("id").toString(), "7");
    QCOMPARE(sent.at(2).arguments, QVariant("7"));
    QVERIFY(!sent.at(3).arguments.isValid());
}

void TestWebPages::pluginListFollowsRepliesAndChangeBroadcasts()
{
    // given a plug-in whose controller was replaced, before any reply, and its view
    SimulatedFramework framework;
    PluginTopologyMgt plugin;
    framework.setPlugin(&plugin);
    plugin.InitialPluginBase(nullptr, nullptr, &framework);
    auto controller = std::make_shared<Controller>();
    plugin.setWebPageTreeModelController(controller);
    QSignalSpy changed(&plugin, &PluginTopologyMgt::webPageChanged);
    QObject owner;
    QAbstractItemModel* view = plugin.getWebPageTreeSortFilterModel(&owner);
    QVERIFY(view);
    Tester tester(view, Tester::FailureReportingMode::Fatal);
    const QVariantList gamma{page("WP_1", "Gamma", "http://g", 5)};
    // when a change broadcast comes first, then it fills the list all the same
    framework.broadcast("NotifyWebPageChanged", pagesNamed({"beta", "Alpha"}));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(controller->queryWebPageName("WP_2"), QString("Alpha"));
    // when a reply fails, then the list stays
    plugin.CommandProcessor("getAllWebPage", gamma, nullptr, "1", QString(), true, QString());
    QCOMPARE(plugin.queryWebPageName("WP_2"), QString("Alpha"));
    QCOMPARE(changed.count(), 1);
    // when one succeeds, then it replaces the list whole
    plugin.CommandProcessor("getAllWebPage", gamma, nullptr, "0", QString(), true, QString());
    QCOMPARE(changed.count(), 2);
    QCOMPARE(plugin.queryWebPageName("WP_2"), QString());
    QCOMPARE(plugin.queryWebPageUrl("WP_1"), QString("http://g"));
    QCOMPARE(plugin.queryWebPageIconType("WP_1"), 5);
    QCOMPARE(view->rowCount(view->index(0, 0)), 1);
}

QTEST_MAIN(TestWebPages)
#include "tst_webpages.moc"
