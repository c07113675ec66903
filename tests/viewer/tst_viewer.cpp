// Runs the QML viewer on the sample installation and reads what its views show,
// through their delegates, before and after the scenario's timeline.
#include "ViewerSession.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSet>
#include <QtTest>

#include <algorithm>

namespace {

QStringList g_warnings;
QtMessageHandler g_previousHandler = nullptr;

// Any warning, QML's included, fails the test at its end.
void collectWarnings(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg)
        g_warnings << message;
    g_previousHandler(type, context, message);
}

QQuickItem* view(QQuickWindow& window, const char* name)
{
    auto* item = window.findChild<QQuickItem*>(QLatin1String(name));
    if (!item)
        qFatal("the viewer has no item %s", name);
    return item;
}

QAbstractItemModel* viewModel(QQuickWindow& window, const char* property)
{
    return qobject_cast<QAbstractItemModel*>(window.property(property).value<QObject*>());
}

// The delegates a view shows, top to bottom (pooled ones are hidden).
QList<QQuickItem*> shownRows(QQuickItem* view)
{
    auto* content = view->property("contentItem").value<QQuickItem*>();
    QList<QQuickItem*> rows;
    for (QQuickItem* child : content->childItems()) {
        if (child->isVisible() && child->property("text").isValid())
            rows << child;
    }
    std::sort(rows.begin(), rows.end(), [](QQuickItem* a, QQuickItem* b) { return a->y() < b->y(); });
    return rows;
}

// The text each row's label draws (Qt's tree delegate draws the model's
// display role, not its own text).
QStringList shownTexts(QQuickItem* view)
{
    QStringList texts;
    for (QQuickItem* row : shownRows(view)) {
        const auto* label = row->property("contentItem").value<QQuickItem*>();
        texts << (label ? label : row)->property("text").toString().trimmed();
    }
    return texts;
}

QString rowContaining(QQuickItem* view, const QString& text)
{
    const QStringList texts = shownTexts(view);
    const auto found = std::find_if(texts.cbegin(), texts.cend(), [&](const QString& row) { return row.contains(text); });
    return found == texts.cend() ? QString() : *found;
}

int nodeCount(const QAbstractItemModel& model, const QModelIndex& parent = QModelIndex())
{
    int count = model.rowCount(parent);
    for (int row = 0; row < model.rowCount(parent); ++row)
        count += nodeCount(model, model.index(row, 0, parent));
    return count;
}

// Saved next to the test, and not blank: a window that drew nothing is one colour.
void saveScreenshot(QQuickWindow& window, const QString& name)
{
    const QImage image = window.grabWindow();
    QVERIFY(!image.isNull());
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3)
            colours.insert(image.pixel(x, y));
    }
    QVERIFY2(colours.size() > 8, qPrintable(QStringLiteral("%1 shows %2 colours").arg(name).arg(colours.size())));
    QDir().mkpath(QStringLiteral("viewer-screenshots"));
    const QString path = QDir(QStringLiteral("viewer-screenshots")).absoluteFilePath(name + QStringLiteral(".png"));
    QVERIFY(image.save(path));
    qInfo("screenshot: %s", qPrintable(path));
}

} // namespace

class TestViewer : public QObject
{
    Q_OBJECT
public:
    static void initMain()
    {
        // Offscreen has no GPU: Qt Quick draws in software.
        qputenv("QT_QUICK_BACKEND", "software");
    }

private slots:
    void showsSampleBeforeAndAfterTimeline();
};

void TestViewer::showsSampleBeforeAndAfterTimeline()
{
    // given the viewer on the sample installation, tall enough to lay out every row
    g_previousHandler = qInstallMessageHandler(collectWarnings);
    ViewerSession session;
    ViewerSession::Options options;
    options.pluginDir = qEnvironmentVariable("TOPOLOGY_PLUGIN_DIR");
    options.scenarioFile = qEnvironmentVariable("TOPOLOGY_EXAMPLES_DIR") + QStringLiteral("/sample-installation.json");
    options.timeScale = 0;
    QQmlApplicationEngine engine;
    QVERIFY2(session.open(options), qPrintable(session.errorString()));
    QVERIFY2(session.show(engine), qPrintable(session.errorString()));
    QQuickWindow& window = *session.window();
    window.resize(1400, 4200);
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QList<QAbstractItemModelTester*> testers;
    for (const char* model : {"deviceModel", "flatModel", "logicalModel", "webPageModel"}) {
        QVERIFY2(viewModel(window, model), model);
        testers << new QAbstractItemModelTester(viewModel(window, model),
                                                QAbstractItemModelTester::FailureReportingMode::Fatal, &window);
    }
    QQuickItem* deviceTree = view(window, "deviceTree");
    QQuickItem* flatList = view(window, "flatList");
    QQuickItem* logicalTree = view(window, "logicalTree");
    QQuickItem* webPages = view(window, "webPages");

    // when connected
    session.connectToInstallation();
    // then the progress shows until a frame holds the whole device tree, expanded, each node by its name
    QVERIFY(view(window, "progressPane")->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(session.fullTreeShownMs() >= 0, 30000);
    QVERIFY(!view(window, "progressPane")->isVisible());
    const int deviceNodes = nodeCount(*viewModel(window, "deviceModel"));
    QCOMPARE(deviceTree->property("rows").toInt(), deviceNodes);
    QCOMPARE(shownRows(deviceTree).size(), deviceNodes);
    QVERIFY(!shownTexts(deviceTree).contains(QString()));
    QVERIFY(shownTexts(deviceTree).contains(QStringLiteral("Corridor East")));
    QVERIFY(shownTexts(deviceTree).contains(QStringLiteral("Dock Door 3")));
    // and the logical tree, expanded, shows each camera with its icon name and states
    QCOMPARE(rowContaining(logicalTree, QStringLiteral("Car Park Gate")),
             QStringLiteral("Car Park Gate  [cameraBulletConnected]  online"));
    QVERIFY(!rowContaining(logicalTree, QStringLiteral("Dock Door 1")).isEmpty());
    // and the web page list shows the pages under the root item, not the root
    const QStringList pagesBefore = shownTexts(webPages);
    QVERIFY(!pagesBefore.isEmpty());
    QVERIFY(!pagesBefore.join(QLatin1Char('\n')).contains(QStringLiteral("Web page")));
    // and the flat list shows the top-level stations collapsed; a click expands one
    const QAbstractItemModel& deviceModel = *viewModel(window, "deviceModel");
    QCOMPARE(shownRows(flatList).size(), deviceModel.rowCount());
    const QStringList flatBefore = shownTexts(flatList);
    QVERIFY2(flatBefore.first().startsWith(QStringLiteral("\u25b8 ")), qPrintable(flatBefore.first()));
    QQuickItem* station = shownRows(flatList).first();
    QTest::mouseClick(&window, Qt::LeftButton, {}, station->mapToScene(QPointF(20, station->height() / 2)).toPoint());
    const int stationChildren = deviceModel.rowCount(deviceModel.index(0, 0));
    QTRY_COMPARE(shownRows(flatList).size(), deviceModel.rowCount() + stationChildren);
    QVERIFY(shownTexts(flatList).first().startsWith(QStringLiteral("\u25be ")));
    QVERIFY(shownTexts(flatList).contains(QStringLiteral("Stairwell  (offline)")));
    saveScreenshot(window, QStringLiteral("before-timeline"));

    // when the timeline is replayed
    session.startTimeline();
    QTRY_VERIFY_WITH_TIMEOUT(session.replayed(), 30000);

    // then a renamed camera shows its new name in every view, removals and insertions show
    QTRY_VERIFY(shownTexts(deviceTree).contains(QStringLiteral("Corridor East Wing")));
    QCOMPARE(shownRows(deviceTree).size(), nodeCount(deviceModel));
    QCOMPARE(deviceTree->property("rows").toInt(), nodeCount(deviceModel));
    QVERIFY(!shownTexts(deviceTree).contains(QStringLiteral("Dock Door 3")));
    QVERIFY(!shownTexts(deviceTree).contains(QStringLiteral("Cafeteria")));
    QVERIFY(shownTexts(deviceTree).contains(QStringLiteral("Warehouse Aisle 9")));
    QVERIFY(shownTexts(flatList).contains(QStringLiteral("Corridor East Wing")));
    QVERIFY(rowContaining(logicalTree, QStringLiteral("Dock Door 1")).isEmpty());
    QCOMPARE(rowContaining(logicalTree, QStringLiteral("Car Park Gate")),
             QStringLiteral("Car Park Gate  [cameraBulletConnected]  online"));
    // and the offline camera is still offline, the one that went and came back is online
    QVERIFY(shownTexts(flatList).contains(QStringLiteral("Stairwell  (offline)")));
    QVERIFY(shownTexts(flatList).contains(QStringLiteral("Reception")));
    QVERIFY(shownTexts(webPages) != pagesBefore);
    saveScreenshot(window, QStringLiteral("after-timeline"));

    qInstallMessageHandler(g_previousHandler);
    QVERIFY2(g_warnings.isEmpty(), qPrintable(g_warnings.join(QLatin1Char('\n'))));
}

QTEST_MAIN(TestViewer)
#include "tst_viewer.moc"
