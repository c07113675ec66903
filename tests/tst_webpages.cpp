#include "TestSupport.h"
#include "WebPageTreeFilterSortModel.h"
#include "WebPageTreeModelController.h"

#include <QAbstractItemModelTester>
#include <QtTest>

#include <memory>

using Controller = WebPageTreeModelController;

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

// A controller with one proxy over it, Qt's checks on both and a recorder on the
// controller's model, all attached before the first change.
struct Fixture
{
    Fixture()
        : controller(std::make_shared<Controller>()),
          proxy(controller->getSortFilterModel(&owner)),
          source(proxy->sourceModel()),
          sourceTester(source, QAbstractItemModelTester::FailureReportingMode::Fatal),
          proxyTester(proxy, QAbstractItemModelTester::FailureReportingMode::Fatal),
          recorder(source, Controller::pageNameRole)
    {
    }

    QModelIndex proxyRoot() const { return proxy->index(0, 0); }

    QObject owner;
    std::shared_ptr<Controller> controller;
    WebPageTreeFilterSortModel* proxy;
    QAbstractItemModel* source;
    QAbstractItemModelTester sourceTester;
    QAbstractItemModelTester proxyTester;
    ModelNotificationRecorder recorder;
};

} // namespace

class TestWebPages : public QObject
{
    Q_OBJECT

private slots:
    void listIsReplacedWhole();
    void malformedPayloadLeavesTheList_data();
    void malformedPayloadLeavesTheList();
    void recordsOfTheWrongShapeAreReadForgivingly();
    void queriesLookUpPagesById_data();
    void queriesLookUpPagesById();
    void localEditsTouchOnePage();
    void sortsByNameIgnoringCase();
    void filtersByNameIgnoringCase_data();
    void filtersByNameIgnoringCase();
    void rootFollowsPagesArrivingUnderAFilter();
    void proxyOutlivesItsController();
};

void TestWebPages::listIsReplacedWhole()
{
    // given a fresh controller: only the root, no page
    Fixture f;
    QCOMPARE(f.source->rowCount(), 1);
    QCOMPARE(f.source->index(0, 0).data(Controller::webPageRole).toMap(),
             QVariantMap({{"id", "root"}, {"pageName", "Web page"}, {"url", ""}}));
    const QVariantList first = {page("WP_1", "Intranet", "http://intranet", 1), page("WP_2", "Wiki", "http://wiki", 2),
                                page("WP_3", "Access", "http://door", 3)};
    const QVariantList second = {page("WP_3", "Access panel", "http://door2", 4), page("WP_9", "Maps", "http://maps")};

    // when a change broadcast arrives before any reply, then a reply, then an empty list
    QVERIFY(f.controller->replaceAllWebPages(first));
    QCOMPARE(f.controller->getWebPageList(), first);
    QVERIFY(f.controller->replaceAllWebPages(second));
    const QStringList afterSecond = f.recorder.lines();
    const QVariantList secondList = f.controller->getWebPageList();
    const QString droppedName = f.controller->queryWebPageName("WP_1");
    const QString keptName = f.controller->queryWebPageName("WP_3");
    QVERIFY(f.controller->replaceAllWebPages(QVariantList()));

    // then each list replaces the one before in two steps, in the order received
    QCOMPARE(afterSecond, QStringList({"insert 0..2 under Web page", "inserted 0..2 under Web page",
                                       "remove 0..2 under Web page", "removed 0..2 under Web page",
                                       "insert 0..1 under Web page", "inserted 0..1 under Web page"}));
    QCOMPARE(secondList, second);
    QCOMPARE(droppedName, QString());
    QCOMPARE(keptName, QStringLiteral("Access panel"));
    QCOMPARE(f.recorder.lines().mid(afterSecond.size()),
             QStringList({"remove 0..1 under Web page", "removed 0..1 under Web page"}));
    QCOMPARE(f.source->rowCount(), 1);
    QVERIFY(f.controller->getWebPageList().isEmpty());
}

void TestWebPages::malformedPayloadLeavesTheList_data()
{
    QTest::addColumn<QVariant>("payload");
    QTest::newRow("null") << QVariant();
    QTest::newRow("map instead of list") << QVariant(page("WP_7", "Lone"));
    QTest::newRow("text") << QVariant(QStringLiteral("[]"));
    QTest::newRow("number") << QVariant(3);
    QTest::newRow("list of texts") << QVariant(QStringList({"WP_1"}));
}

void TestWebPages::malformedPayloadLeavesTheList()
{
    // given
    QFETCH(QVariant, payload);
    Fixture f;
    const QVariantList pages = pagesNamed({"Intranet", "Wiki"});
    f.controller->replaceAllWebPages(pages);
    f.recorder.clear();
    // when
    const bool replaced = f.controller->replaceAllWebPages(payload);
    // then
    QVERIFY(!replaced);
    QCOMPARE(f.recorder.lines(), QStringList());
    QCOMPARE(f.controller->getWebPageList(), pages);
}

void TestWebPages::recordsOfTheWrongShapeAreReadForgivingly()
{
    // given elements that are no records, and records with fields of the wrong type
    Fixture f;
    const QVariantMap odd = {{"id", 7}, {"pageName", 42}, {"url", QVariantList({"x"})}, {"iconType", "3"}};
    const QVariantHash asHash = {{"id", "WP_H"}, {"pageName", "Hashed"}, {"url", "http://h"}, {"iconType", 2}};
    // when
    f.controller->replaceAllWebPages(
        QVariantList({QVariant(), "WP_0", QVariantList({page("WP_N", "Nested")}), odd, asHash, page("WP_1", "Plain")}));
    // then the records become pages, in order, each read through the published role names
    const QModelIndex root = f.source->index(0, 0);
    QCOMPARE(childNames(f.source, root), QStringList({"42", "Hashed", "Plain"}));
    const QHash<int, QByteArray> names = f.source->roleNames();
    const QModelIndex oddPage = f.source->index(0, 0, root);
    QCOMPARE(oddPage.data(names.key("pageId")).toString(), QStringLiteral("7"));
    QCOMPARE(oddPage.data(names.key("pageName")).toString(), QStringLiteral("42"));
    QCOMPARE(oddPage.data(names.key("url")).toString(), QString());
    QCOMPARE(oddPage.data(names.key("iconType")).toInt(), 3);
    QCOMPARE(oddPage.data(names.key("webPage")).toMap(), odd);
    QCOMPARE(f.controller->queryWebPageUrl("WP_H"), QStringLiteral("http://h"));
    QCOMPARE(f.controller->queryWebPageIconType("7"), 3);
}

void TestWebPages::queriesLookUpPagesById_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("iconType");
    QTest::newRow("known") << "WP_2" << "Wiki" << "http://wiki" << 5;
    QTest::newRow("unknown") << "WP_404" << "" << "" << 0;
    QTest::newRow("the root is no page") << "root" << "" << "" << 0;
    QTest::newRow("id differs in case") << "wp_2" << "" << "" << 0;
    QTest::newRow("duplicate id answers the first") << "dup" << "First" << "http://1" << 1;
}

void TestWebPages::queriesLookUpPagesById()
{
    // given
    QFETCH(QString, id);
    Fixture f;
    Controller& controller = *f.controller;
    controller.replaceAllWebPages(QVariantList({page("WP_1", "Intranet", "http://intranet", 4),
                                                page("WP_2", "Wiki", "http://wiki", 5),
                                                page("dup", "First", "http://1", 1),
                                                page("dup", "Second", "http://2", 2)}));
    // when / then
    QTEST(controller.queryWebPageName(id), "name");
    QTEST(controller.queryWebPageUrl(id), "url");
    QTEST(controller.queryWebPageIconType(id), "iconType");
}

void TestWebPages::localEditsTouchOnePage()
{
    // given
    Fixture f;
    QVariantMap intranet = page("WP_1", "Intranet", "http://intranet", 1);
    intranet.insert("owner", "admin");
    f.controller->replaceAllWebPages(QVariantList({intranet, page("WP_2", "Wiki")}));
    f.recorder.clear();

    // when
    f.controller->addWebPage(page("WP_3", "Maps"));
    f.controller->editWebPage("WP_1", "Renamed", "http://new", 6);
    f.controller->editWebPage("WP_404", "Ghost", "http://ghost", 1);
    f.controller->removeWebPage("WP_2");
    f.controller->removeWebPage("WP_404");

    // then one notification pair or change each, the edit naming only what it changes
    const QString changedRoles = QStringLiteral("%1,%2,%3,%4")
                                     .arg(Controller::webPageRole)
                                     .arg(Controller::pageNameRole)
                                     .arg(Controller::urlRole)
                                     .arg(Controller::iconTypeRole);
    QCOMPARE(f.recorder.lines(),
             QStringList({"insert 2..2 under Web page", "inserted 2..2 under Web page",
                          "changed Renamed roles " + changedRoles, "remove 1..1 under Web page",
                          "removed 1..1 under Web page"}));
    QVariantMap edited = intranet;
    edited["pageName"] = "Renamed";
    edited["url"] = "http://new";
    edited["iconType"] = 6;
    QCOMPARE(f.controller->getWebPageList(), QVariantList({edited, page("WP_3", "Maps")}));
    QCOMPARE(f.controller->queryWebPageUrl("WP_1"), QStringLiteral("http://new"));
}

void TestWebPages::sortsByNameIgnoringCase()
{
    // given
    Fixture f;
    f.controller->replaceAllWebPages(pagesNamed({"beta", "Alpha", "Gamma", "alpha 2"}));
    // when
    f.proxy->setSort(Qt::AscendingOrder);
    const QStringList ascending = childNames(f.proxy, f.proxyRoot());
    f.proxy->setSort(Qt::DescendingOrder);
    const QStringList descending = childNames(f.proxy, f.proxyRoot());
    f.controller->replaceAllWebPages(pagesNamed({"delta", "Charlie", "Echo"}));
    // then
    QCOMPARE(ascending, QStringList({"Alpha", "alpha 2", "beta", "Gamma"}));
    QCOMPARE(descending, QStringList({"Gamma", "beta", "alpha 2", "Alpha"}));
    QCOMPARE(childNames(f.proxy, f.proxyRoot()), QStringList({"Echo", "delta", "Charlie"}));
}

void TestWebPages::filtersByNameIgnoringCase_data()
{
    QTest::addColumn<QStringList>("pages");
    QTest::addColumn<QString>("filter");
    QTest::addColumn<bool>("rootShown");
    QTest::addColumn<QStringList>("shownPages");
    const QStringList pages = {"Intranet", "Portal", "Camera portal"};
    QTest::newRow("no filter") << pages << "" << true << pages;
    QTest::newRow("part of names, other case") << pages << "PORT" << true << QStringList({"Portal", "Camera portal"});
    QTest::newRow("only the root's own name") << pages << "web" << true << QStringList();
    QTest::newRow("nothing matches") << pages << "zzz" << false << QStringList();
    QTest::newRow("empty list, root matches") << QStringList() << "page" << true << QStringList();
    QTest::newRow("empty list, root does not match") << QStringList() << "x" << false << QStringList();
}

void TestWebPages::filtersByNameIgnoringCase()
{
    // given
    QFETCH(QStringList, pages);
    QFETCH(QString, filter);
    Fixture f;
    f.controller->replaceAllWebPages(pagesNamed(pages));
    // when
    f.proxy->setFilterFixedString(filter);
    // then
    QFETCH(bool, rootShown);
    QCOMPARE(f.proxy->rowCount(), rootShown ? 1 : 0);
    if (rootShown)
        QTEST(childNames(f.proxy, f.proxyRoot()), "shownPages");
}

void TestWebPages::rootFollowsPagesArrivingUnderAFilter()
{
    // given a filter that hides the root of an empty list
    Fixture f;
    f.proxy->setFilterFixedString("portal");
    QCOMPARE(f.proxy->rowCount(), 0);
    // when a matching page arrives, then leaves again
    f.controller->replaceAllWebPages(pagesNamed({"Intranet", "Camera Portal"}));
    const int rootsWithPage = f.proxy->rowCount();
    const QStringList shown = rootsWithPage == 1 ? childNames(f.proxy, f.proxyRoot()) : QStringList();
    f.controller->replaceAllWebPages(pagesNamed({"Intranet"}));
    // then the root shows exactly while the page does
    QCOMPARE(rootsWithPage, 1);
    QCOMPARE(shown, QStringList({"Camera Portal"}));
    QCOMPARE(f.proxy->rowCount(), 0);
}

void TestWebPages::proxyOutlivesItsController()
{
    // given a proxy handed to a view, and the controller replaced by another
    QObject view;
    auto controller = std::make_shared<Controller>();
    controller->replaceAllWebPages(pagesNamed({"Intranet"}));
    QPointer<WebPageTreeFilterSortModel> proxy = controller->getSortFilterModel(&view);
    QAbstractItemModelTester tester(proxy, QAbstractItemModelTester::FailureReportingMode::Fatal);
    // when
    controller = std::make_shared<Controller>();
    // then the old proxy is empty, and still the view's
    QVERIFY(proxy);
    QCOMPARE(proxy->parent(), &view);
    QCOMPARE(proxy->rowCount(), 0);
}

QTEST_MAIN(TestWebPages)
#include "tst_webpages.moc"
