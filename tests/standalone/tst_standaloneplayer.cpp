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
    void realWriterReplacesTheListOrChangesNothing();
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

void TestStandalonePlayer::realWriterReplacesTheListOrChangesNothing()
{
    // given a download folder holding another file
    QTemporaryDir downloads;
    QVERIFY(writeFile(downloads.filePath("other.csv"), "keep me"));
    const QString target = ListFileLocations(downloads.path()).streamingUrlListFilePath();
    const auto written = [&target] {
        QFile file(target);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<no file>");
    };
    // when an empty list is written, then it leaves an empty file
    ListToFileWriter().write(target, {});
    QCOMPARE(written(), QByteArray(""));
    // when lines follow, then each ends in a newline, and a shorter list replaces a longer one whole
    ListToFileWriter().write(target, {"rtsp://old/1", "rtsp://old/2", "rtsp://old/3"});
    ListToFileWriter().write(target, {"rtsp://a/1", "", QString::fromUtf8("K\xc3\xbc")});
    QCOMPARE(written(), QByteArray("rtsp://a/1\n\nK\xc3\xbc\n"));
    QCOMPARE(snapshot(downloads.path()).keys(), QStringList({"StreamingUrlList.csv", "other.csv"}));
    QCOMPARE(snapshot(downloads.path()).value("other.csv"), QByteArray("keep me"));

    // when the target cannot be written (no such folder, a folder, no path), then nothing changes
    const QMap<QString, QByteArray> before = snapshot(downloads.path());
    for (const QString& unwritable : {downloads.filePath("missing/StreamingUrlList.csv"), downloads.path(), QString()})
        ListToFileWriter().write(unwritable, {"00:11:22:33:44:55"});
    QCOMPARE(snapshot(downloads.path()), before);
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
