#include "ListFileLocations.h"
#include "ListToFileWriter.h"
#include "PluginTopologyMgt.h"
#include "StandalonePlayerPlaylist.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QDirIterator>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QUuid>
#include <QtTest>

using Playlist = StandalonePlayerPlaylist;

namespace {

// Each row under parent as "id|name|cameraNodeID|type", read through the published role names.
QStringList rowsUnder(const QAbstractItemModel* model, const QModelIndex& parent)
{
    const QHash<int, QByteArray> names = model->roleNames();
    QStringList rows;
    for (int row = 0; row < model->rowCount(parent); ++row) {
        QStringList fields;
        for (const char* role : {"idRole", "nameRole", "cameraNodeIDRole", "typeRole"})
            fields << model->index(row, 0, parent).data(names.key(role)).toString();
        rows << fields.join('|');
    }
    return rows;
}

// Every entry below the folder with each file's content, to tell that nothing
// was created, changed or removed.
QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        const bool readable = !it.fileInfo().isDir() && file.open(QIODevice::ReadOnly);
        entries.insert(QDir(folder).relativeFilePath(file.fileName()), readable ? file.readAll() : "<dir>");
    }
    return entries;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

struct RecordingWriter : IListToFileWriter
{
    void write(const QString& filePath, const QStringList& lines) override { written.append({filePath, lines}); }
    QList<QPair<QString, QStringList>> written;
};

QVariantMap database()
{
    return {{"C_1", QVariantMap{{"camName", "c_Door"}}}, {"C_2", QVariantMap{{"camName", "Yard"}}},
            {"LocObjectMetaInfo", QVariantMap{{"version", 3}}}, {"broken", 5}};
}

} // namespace

class TestStandalonePlayer : public QObject
{
    Q_OBJECT

private slots:
    void databasesArriveAsFoldersAndClearRemovesThem();
    void writesEachLineFollowedByANewline_data();
    void writesEachLineFollowedByANewline();
    void unwritableTargetIsSkipped_data();
    void unwritableTargetIsSkipped();
    void macListGoesIntoTheNamedFolder_data();
    void macListGoesIntoTheNamedFolder();
    void pluginFillsPlaylistAndLocationsAndWritesThroughItsWriter();
    void pluginClearsLocalDatabasesButKeepsStationLocations();
};

void TestStandalonePlayer::databasesArriveAsFoldersAndClearRemovesThem()
{
    // given
    Playlist playlist;
    QAbstractItemModel* model = playlist.getModel();
    QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ModelNotificationRecorder recorder(model, Playlist::nameRole);
    QCOMPARE(rowsUnder(model, QModelIndex()), QStringList({"_LOCAL_DB_|Local DB|_LOCAL_DB_|0"}));
    QVERIFY(playlist.isEmpty());
    const QVariantMap cameras{
        {"cam2", QVariantMap{{"camName", "Gate"}, {"recPath", "/rec/db1"}}},
        {"cam1", QVariantMap{{"camName", "Lobby"}, {"recPath", ""}}},
        {"cam3", QVariantMap{{"camName", "c_Yard"}}},
        {"LocObjectMetaInfo", QVariantMap{{"camName", "not a camera"}, {"recPath", "/rec"}}},
        {"cam4", "not a map"},
    };
    // when the same database is added twice
    playlist.appendLocalDB(cameras, "Site A");
    playlist.appendLocalDB(cameras, "Site A");
    // then two folders with their cameras in key order, each in one insertion
    QCOMPARE(recorder.lines(), QStringList({"insert 0..0 under Local DB", "inserted 0..0 under Local DB",
                                            "insert 1..1 under Local DB", "inserted 1..1 under Local DB"}));
    QVERIFY(!playlist.isEmpty());
    const QModelIndex root = model->index(0, 0);
    const QString firstId = model->index(0, 0, root).data(Playlist::idRole).toString();
    const QString secondId = model->index(1, 0, root).data(Playlist::idRole).toString();
    QVERIFY2(firstId != secondId && firstId.startsWith('{') && !QUuid::fromString(firstId).isNull(), qPrintable(firstId));
    QCOMPARE(rowsUnder(model, root), QStringList({firstId + "|Site A||0", secondId + "|Site A||0"}));
    QCOMPARE(rowsUnder(model, model->index(1, 0, root)),
             QStringList({"cam1|Lobby|cam1|4", "/rec/db1/cam2|Gate|/rec/db1/cam2|4", "cam3|c_Yard|cam3|4"}));

    // when cleared twice, then both folders go at once and the root stays
    recorder.clear();
    playlist.clear();
    playlist.clear();
    QCOMPARE(recorder.lines(), QStringList({"remove 0..1 under Local DB", "removed 0..1 under Local DB"}));
    QVERIFY(playlist.isEmpty());
    QCOMPARE(model->rowCount(), 1);
}

void TestStandalonePlayer::writesEachLineFollowedByANewline_data()
{
    QTest::addColumn<QByteArray>("previous");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("empty list, new file") << QByteArray() << QStringList() << QByteArray("");
    QTest::newRow("lines replace a longer file") << QByteArray("rtsp://old/1\nrtsp://old/2\nrtsp://old/3\n")
                                                 << QStringList({"rtsp://a/1", "rtsp://b/2"})
                                                 << QByteArray("rtsp://a/1\nrtsp://b/2\n");
    QTest::newRow("empty and non-ASCII lines") << QByteArray() << QStringList({"", QString::fromUtf8("K\xc3\xbc")})
                                               << QByteArray("\nK\xc3\xbc\n");
}

void TestStandalonePlayer::writesEachLineFollowedByANewline()
{
    // given a download folder holding another file, and maybe an earlier list
    QFETCH(QByteArray, previous);
    QFETCH(QStringList, lines);
    QTemporaryDir downloads;
    QVERIFY(writeFile(downloads.filePath("other.csv"), "keep me"));
    const QString target = ListFileLocations(downloads.path()).streamingUrlListFilePath();
    if (!previous.isNull())
        QVERIFY(writeFile(target, previous));
    // when
    ListToFileWriter().write(target, lines);
    // then
    QFile written(target);
    QVERIFY(written.open(QIODevice::ReadOnly | QIODevice::Text));
    QTEST(written.readAll(), "expected");
    const QMap<QString, QByteArray> entries = snapshot(downloads.path());
    QCOMPARE(entries.keys(), QStringList({"StreamingUrlList.csv", "other.csv"}));
    QCOMPARE(entries.value("other.csv"), QByteArray("keep me"));
}

void TestStandalonePlayer::unwritableTargetIsSkipped_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("folder does not exist") << "missing/StreamingUrlList.csv";
    QTest::newRow("no path") << "";
}

void TestStandalonePlayer::unwritableTargetIsSkipped()
{
    // given
    QFETCH(QString, target);
    QTemporaryDir root;
    QVERIFY(QDir(root.path()).mkpath("folder/inner"));
    QVERIFY(writeFile(root.filePath("folder/inner/file.txt"), "inside"));
    const QMap<QString, QByteArray> before = snapshot(root.path());
    // when
    ListToFileWriter().write(target.isEmpty() ? QString() : root.filePath(target), {"00:11:22:33:44:55"});
    // then
    QCOMPARE(snapshot(root.path()), before);
}

void TestStandalonePlayer::macListGoesIntoTheNamedFolder_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("expected");
    const QString folder = QDir::tempPath() + "/export";
    const QString file = folder + "/QELM2Generated_MacList.txt";
    QTest::newRow("folder") << folder << file;
    QTest::newRow("local file URL from a folder dialog") << QUrl::fromLocalFile(folder).toString() << file;
    QTest::newRow("no folder is nowhere") << "" << "";
}

void TestStandalonePlayer::macListGoesIntoTheNamedFolder()
{
    QFETCH(QString, directory);
    QTEST(ListFileLocations::macListFilePath(directory), "expected");
}

void TestStandalonePlayer::pluginFillsPlaylistAndLocationsAndWritesThroughItsWriter()
{
    // given a plug-in without servers, its playlist view, and a replaced list writer
    PluginTopologyMgt plugin;
    plugin.InitialPluginBase(nullptr, nullptr, nullptr);
    QObject owner;
    QAbstractItemModel* view = plugin.getStandalonePlayerLocalDBModel(&owner);
    QCOMPARE(view->parent(), &owner);
    QAbstractItemModelTester tester(view, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QVERIFY(!plugin.hasLocalDBNodesInStandalonePlayer());
    auto writer = QSharedPointer<RecordingWriter>::create();
    plugin.setListToFileWriter(writer);
    plugin.setListFileLocations(ListFileLocations("/downloads"));
    // when
    plugin.addNewStandalonePlayerLocation(database(), "/rec/db1", "Export");
    plugin.addNewStandalonePlayerLocalDB(database(), "Export");
    plugin.generateStreamingUrlListFile({"a,b"});
    plugin.generateMacListOfAllCamera("/lists");
    // then the playlist shows the databases, and the location records know where each camera's recordings are
    QVERIFY(plugin.hasLocalDBNodesInStandalonePlayer());
    const QModelIndex root = view->index(0, 0);
    QCOMPARE(view->rowCount(root), 2);
    QCOMPARE(view->rowCount(view->index(0, 0, root)), 2);
    const QVariantMap located = plugin.locationInfo("/rec/db1/C_1");
    QCOMPARE(located.value("nameRole").toString(), "Door");
    QCOMPARE(located.value("locationRole").toString(), "/rec/db1");
    QCOMPARE(plugin.locationInfo("C_2").value("camIDRole").toString(), "C_2");
    QVERIFY(plugin.locationInfo("LocObjectMetaInfo").isEmpty());
    // and the lists went to the writer, under their names
    QCOMPARE(writer->written.size(), 2);
    QCOMPARE(writer->written.at(0).first, "/downloads/StreamingUrlList.csv");
    QCOMPARE(writer->written.at(0).second, QStringList{"a,b"});
    QCOMPARE(writer->written.at(1).first, "/lists/QELM2Generated_MacList.txt");
    // when cleared, then the playlist is empty
    plugin.clearStandalonePlayerLocalDB();
    QVERIFY(!plugin.hasLocalDBNodesInStandalonePlayer());
    QCOMPARE(view->rowCount(root), 0);
}

void TestStandalonePlayer::pluginClearsLocalDatabasesButKeepsStationLocations()
{
    // given a station location and a local database in the logical tree
    PluginTopologyMgt plugin;
    plugin.InitialPluginBase(nullptr, nullptr, nullptr);
    plugin.PluginServerConnected();
    plugin.switchLocationID("S_1/C_4", "Loc1");
    plugin.addNewLocation(database(), "/rec/db2", "Archive");
    QVERIFY(plugin.hasLocalDBNodes());
    QVERIFY(!plugin.locationInfo("/rec/db2/C_2").isEmpty());
    // when
    plugin.clearLocalDBLocations();
    // then
    QVERIFY(!plugin.hasLocalDBNodes());
    QVERIFY(plugin.locationInfo("/rec/db2/C_2").isEmpty());
    QCOMPARE(plugin.locationDataFrom("S_1/C_4", "locationRole").toString(), "Loc1");
}

QTEST_MAIN(TestStandalonePlayer)
#include "tst_standaloneplayer.moc"
