#include "ListFileLocations.h"
#include "ListToFileWriter.h"
#include "StandalonePlayerPlaylist.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QDirIterator>
#include <QStandardItemModel>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUuid>
#include <QtTest>

using Playlist = StandalonePlayerPlaylist;

namespace {

QVariantMap camera(const QString& name, const QVariant& recordingPath = QVariant())
{
    QVariantMap entry{{"camName", name}};
    if (recordingPath.isValid())
        entry.insert("recPath", recordingPath);
    return entry;
}

// Each row as "id|name|cameraNodeID|type".
QStringList rowsUnder(const QAbstractItemModel* model, const QModelIndex& parent)
{
    QStringList rows;
    for (int row = 0; row < model->rowCount(parent); ++row) {
        const QModelIndex index = model->index(row, 0, parent);
        rows << QStringLiteral("%1|%2|%3|%4")
                    .arg(index.data(Playlist::idRole).toString(), index.data(Playlist::nameRole).toString(),
                         index.data(Playlist::cameraNodeIDRole).toString())
                    .arg(index.data(Playlist::typeRole).toInt());
    }
    return rows;
}

// Every entry below the folder, with the content of each file, so that a test
// can tell that nothing else was created, changed or removed.
QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        entries.insert(QDir(folder).relativeFilePath(path),
                       it.fileInfo().isDir() ? QByteArray("<dir>") : (file.open(QIODevice::ReadOnly) ? file.readAll() : "?"));
    }
    return entries;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

class TestStandalonePlayer : public QObject
{
    Q_OBJECT

private slots:
    void startsWithTheLocalDbFolderAlone();
    void databaseArrivesAsOneFolderOfItsCameras();
    void sameDatabaseNameGivesAnotherFolder();
    void clearRemovesEveryDatabaseAtOnce();
    void writesEachLineFollowedByANewline_data();
    void writesEachLineFollowedByANewline();
    void unwritableTargetIsSkipped_data();
    void unwritableTargetIsSkipped();
    void macListGoesIntoTheNamedFolder_data();
    void macListGoesIntoTheNamedFolder();
    void streamingUrlListGoesIntoTheDownloadFolder();
};

void TestStandalonePlayer::startsWithTheLocalDbFolderAlone()
{
    // given / when
    Playlist playlist;
    const QAbstractItemModel* model = playlist.getModel();
    // then the root folder is readable through the published role names
    QVERIFY(playlist.isEmpty());
    QCOMPARE(model->rowCount(), 1);
    const QHash<int, QByteArray> names = model->roleNames();
    const QModelIndex root = model->index(0, 0);
    QCOMPARE(root.data(names.key("idRole")).toString(), QStringLiteral("_LOCAL_DB_"));
    QCOMPARE(root.data(names.key("nameRole")).toString(), QStringLiteral("Local DB"));
    QCOMPARE(root.data(names.key("cameraNodeIDRole")).toString(), QStringLiteral("_LOCAL_DB_"));
    QCOMPARE(root.data(names.key("typeRole")).toInt(), 0);
    QCOMPARE(model->rowCount(root), 0);
}

void TestStandalonePlayer::databaseArrivesAsOneFolderOfItsCameras()
{
    // given
    Playlist playlist;
    QAbstractItemModel* model = playlist.getModel();
    QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ModelNotificationRecorder recorder(model, Playlist::nameRole);
    const QVariantMap cameras{
        {"cam2", camera("Gate", "/rec/db1")},
        {"cam1", camera("Lobby", "")},
        {"cam3", camera("c_Yard")},
        {"LocObjectMetaInfo", QVariantMap{{"camName", "not a camera"}, {"recPath", "/rec"}}},
        {"cam4", "not a map"},
        {"cam5", QVariantList{camera("Nested")}},
    };
    // when
    playlist.appendLocalDB(cameras, "Site A");
    // then
    QCOMPARE(recorder.lines(), QStringList({"insert 0..0 under Local DB", "inserted 0..0 under Local DB"}));
    QVERIFY(!playlist.isEmpty());
    const QModelIndex folder = model->index(0, 0, model->index(0, 0));
    const QString folderId = folder.data(Playlist::idRole).toString();
    QVERIFY2(folderId.startsWith('{') && !QUuid::fromString(folderId).isNull(), qPrintable(folderId));
    QCOMPARE(rowsUnder(model, model->index(0, 0)), QStringList({folderId + "|Site A||0"}));
    QCOMPARE(rowsUnder(model, folder),
             QStringList({"cam1|Lobby|cam1|4", "/rec/db1/cam2|Gate|/rec/db1/cam2|4", "cam3|c_Yard|cam3|4"}));
}

void TestStandalonePlayer::sameDatabaseNameGivesAnotherFolder()
{
    // given
    Playlist playlist;
    QAbstractItemModel* model = playlist.getModel();
    QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    // when
    playlist.appendLocalDB({{"cam1", camera("Lobby", "/a")}}, "Site A");
    playlist.appendLocalDB({{"cam1", camera("Lobby", "/b")}}, "Site A");
    // then
    const QModelIndex root = model->index(0, 0);
    QCOMPARE(model->rowCount(root), 2);
    const QModelIndex first = model->index(0, 0, root);
    const QModelIndex second = model->index(1, 0, root);
    QCOMPARE(second.data(Playlist::nameRole), first.data(Playlist::nameRole));
    QVERIFY(first.data(Playlist::idRole) != second.data(Playlist::idRole));
    QCOMPARE(rowsUnder(model, second), QStringList({"/b/cam1|Lobby|/b/cam1|4"}));
}

void TestStandalonePlayer::clearRemovesEveryDatabaseAtOnce()
{
    // given
    Playlist playlist;
    QAbstractItemModel* model = playlist.getModel();
    QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    playlist.appendLocalDB({{"cam1", camera("Lobby", "/a")}}, "Site A");
    playlist.appendLocalDB({}, "Site B");
    ModelNotificationRecorder recorder(model, Playlist::nameRole);
    // when
    playlist.clear();
    playlist.clear();
    // then
    QCOMPARE(recorder.lines(), QStringList({"remove 0..1 under Local DB", "removed 0..1 under Local DB"}));
    QVERIFY(playlist.isEmpty());
    QCOMPARE(rowsUnder(model, QModelIndex()), QStringList({"_LOCAL_DB_|Local DB|_LOCAL_DB_|0"}));
}

void TestStandalonePlayer::writesEachLineFollowedByANewline_data()
{
    QTest::addColumn<QByteArray>("previous");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("empty list, new file") << QByteArray() << QStringList() << QByteArray("");
    QTest::newRow("empty list empties the file") << QByteArray("old\n") << QStringList() << QByteArray("");
    QTest::newRow("lines replace a longer file")
        << QByteArray("rtsp://old/1\nrtsp://old/2\nrtsp://old/3\n") << QStringList({"rtsp://a/1", "rtsp://b/2"})
        << QByteArray("rtsp://a/1\nrtsp://b/2\n");
    QTest::newRow("empty and non-ASCII lines as UTF-8")
        << QByteArray() << QStringList({"", QString::fromUtf8("Kamera \xc3\x9c""ber")})
        << QByteArray("\nKamera \xc3\x9c""ber\n");
}

void TestStandalonePlayer::writesEachLineFollowedByANewline()
{
    // given a download folder holding another file, and maybe an earlier list
    QFETCH(QByteArray, previous);
    QTemporaryDir downloads;
    QVERIFY(downloads.isValid());
    QVERIFY(writeFile(downloads.filePath("other.csv"), "keep me"));
    const QString target = ListFileLocations(downloads.path()).streamingUrlListFilePath();
    if (!previous.isNull())
        QVERIFY(writeFile(target, previous));
    // when
    QFETCH(QStringList, lines);
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
    QTest::addColumn<QString>("relativeTarget");
    QTest::addColumn<QString>("madeReadOnly");
    QTest::newRow("folder does not exist") << "missing/StreamingUrlList.csv" << "";
    QTest::newRow("target is a folder") << "folder" << "";
    QTest::newRow("no path") << "" << "";
    QTest::newRow("read-only folder") << "folder/StreamingUrlList.csv" << "folder";
    QTest::newRow("read-only file") << "folder/inner/file.txt" << "folder/inner/file.txt";
}

void TestStandalonePlayer::unwritableTargetIsSkipped()
{
    // given
    QFETCH(QString, relativeTarget);
    QFETCH(QString, madeReadOnly);
    QTemporaryDir root;
    QVERIFY(root.isValid());
    QVERIFY(QDir(root.path()).mkpath("folder/inner"));
    QVERIFY(writeFile(root.filePath("folder/inner/file.txt"), "inside"));
    const QString locked = madeReadOnly.isEmpty() ? QString() : root.filePath(madeReadOnly);
    const QFileDevice::Permissions writable = QFile::permissions(locked);
    const auto unlock = qScopeGuard([&] {
        if (!locked.isEmpty())
            QFile::setPermissions(locked, writable);
    });
    if (!locked.isEmpty()) {
        QVERIFY(QFile::setPermissions(locked, writable & ~(QFile::WriteOwner | QFile::WriteUser)));
        if (QFileInfo(locked).isDir() ? QFile(locked + "/probe").open(QIODevice::WriteOnly)
                                      : QFile(locked).open(QIODevice::Append)) {
            QFile::remove(locked + "/probe");
            QSKIP("This account writes where it has no write permission");
        }
    }
    const QMap<QString, QByteArray> before = snapshot(root.path());
    // when
    ListToFileWriter().write(relativeTarget.isEmpty() ? QString() : root.filePath(relativeTarget),
                             {"00:11:22:33:44:55"});
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
    QTest::newRow("folder with a trailing separator") << folder + "/" << file;
    QTest::newRow("local file URL from a folder dialog") << QUrl::fromLocalFile(folder).toString() << file;
    QTest::newRow("no folder is nowhere") << "" << "";
}

void TestStandalonePlayer::macListGoesIntoTheNamedFolder()
{
    QFETCH(QString, directory);
    QTEST(ListFileLocations::macListFilePath(directory), "expected");
}

void TestStandalonePlayer::streamingUrlListGoesIntoTheDownloadFolder()
{
    // given
    const QString systemDownloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    // when / then
    QCOMPARE(ListFileLocations("/data/downloads").streamingUrlListFilePath(),
             QStringLiteral("/data/downloads/StreamingUrlList.csv"));
    QCOMPARE(ListFileLocations().streamingUrlListFilePath(),
             systemDownloads.isEmpty() ? QString() : QDir::cleanPath(systemDownloads + "/StreamingUrlList.csv"));
}

QTEST_MAIN(TestStandalonePlayer)
#include "tst_standaloneplayer.moc"
