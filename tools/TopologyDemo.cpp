// Demo host: loads the PluginTopologyMgt plug-in file, connects it to a
// simulated installation and shows the retrieval's progress; once everything is
// retrieved it shows the logical tree and the web pages, replays the scenario's
// timeline of broadcasts, printing each broadcast and every signal the module
// emits in answer, and last prints the device tree the module ends up with.
//
// With --standalone it is the standalone player instead: no server is reached;
// the scenario's local databases are handed to the module, and the playlist and
// each camera's recording location are printed.
//
//   topology-demo [scenario.json] [--standalone] [--plugin-dir DIR] [--timeout SECONDS] [--time-scale FACTOR]

#include "DemoPrinter.h"
#include "PluginBase.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QPersistentModelIndex>
#include <QPluginLoader>
#include <QTextStream>
#include <QTimer>

namespace {

const char* const kRetrievedFlags[] = {"topologyRetrieved", "nodeInfoRetrieved", "serverInfoRetrieved",
                                       "locationRetrieved", "logicalTreeRetrieved", "camStatusRetrieved"};

QString findPluginFile(const QString& directory)
{
    const QDir dir(directory);
    const QStringList files = dir.entryList(QStringList() << QStringLiteral("*PluginTopologyMgt*"), QDir::Files);
    return files.isEmpty() ? QString() : dir.filePath(files.first());
}

QStringList flagsStillFalse(const QObject& plugin)
{
    QStringList pending;
    for (const char* flag : kRetrievedFlags) {
        if (!plugin.property(flag).toBool())
            pending.append(QString::fromLatin1(flag));
    }
    return pending;
}

// The standalone player's part of the module: the databases go in through the
// same invokable operations the player calls, then the playlist view and
// the location records playback reads come out.
int playLocalDatabases(PluginBase& plugin, SimulatedFramework& framework, const Scenario& scenario,
                       QTextStream& out)
{
    if (!plugin.InitialPluginBase(nullptr, nullptr, &framework)) {
        out << "The plug-in refused to initialise\n";
        return 2;
    }
    const QList<ScenarioLocalDatabase> databases = scenario.localDatabases();
    if (databases.isEmpty()) {
        out << "The scenario describes no local databases\n";
        return 2;
    }
    for (const ScenarioLocalDatabase& database : databases) {
        // A database in one folder goes in with that folder; otherwise each camera names its own.
        const bool added = database.recPath.isEmpty()
            ? QMetaObject::invokeMethod(&plugin, "addNewStandalonePlayerLocalDB", Q_ARG(QVariantMap, database.cameras),
                                        Q_ARG(QString, database.name))
            : QMetaObject::invokeMethod(&plugin, "addNewStandalonePlayerLocation", Q_ARG(QVariantMap, database.cameras),
                                        Q_ARG(QString, database.recPath), Q_ARG(QString, database.name));
        if (!added) {
            out << "The plug-in has no standalone player operations\n";
            return 2;
        }
        out << "  added \"" << database.name << "\", " << database.cameras.size()
            << (database.cameras.size() == 1 ? " camera" : " cameras")
            << (database.recPath.isEmpty() ? QString() : QStringLiteral(", in ") + database.recPath) << '\n';
    }

    DemoPrinter printer(out);
    QObject viewOwner;
    QAbstractItemModel* playlist = nullptr;
    QMetaObject::invokeMethod(&plugin, "getStandalonePlayerLocalDBModel", Q_RETURN_ARG(QAbstractItemModel*, playlist),
                              Q_ARG(QObject*, &viewOwner));
    if (!playlist) {
        out << "The plug-in shows no playlist\n";
        return 1;
    }
    out << "\nPlaylist (standalone player's view):\n";
    const QStringList cameraNodeIds = printer.printPlaylist(*playlist);
    out << "\nRecording locations, by camera node id:\n";
    for (const QString& nodeId : cameraNodeIds) {
        QVariantMap record;
        QMetaObject::invokeMethod(&plugin, "locationInfo", Q_RETURN_ARG(QVariantMap, record), Q_ARG(QString, nodeId));
        out << "  " << nodeId << ": " << DemoPrinter::describe(record) << '\n';
    }
    out << '\n' << framework.requests().size() << " requests sent to servers\n";
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("scenario"), QStringLiteral("Scenario file (JSON)."));
    QCommandLineOption pluginDirOption(QStringLiteral("plugin-dir"), QStringLiteral("Folder of the plug-in file."),
                                       QStringLiteral("dir"), QStringLiteral(TOPOLOGY_DEFAULT_PLUGIN_DIR));
    QCommandLineOption timeoutOption(QStringLiteral("timeout"), QStringLiteral("Seconds to wait for the retrieval."),
                                     QStringLiteral("seconds"), QStringLiteral("30"));
    QCommandLineOption timeScaleOption(QStringLiteral("time-scale"),
                                       QStringLiteral("Factor for the timeline's delays (default 0.25: four times faster)."),
                                       QStringLiteral("factor"), QStringLiteral("0.25"));
    QCommandLineOption standaloneOption(
        QStringLiteral("standalone"),
        QStringLiteral("Play the scenario's local databases as the standalone player, without servers."));
    parser.addOption(standaloneOption);
    parser.addOption(pluginDirOption);
    parser.addOption(timeoutOption);
    parser.addOption(timeScaleOption);
    parser.process(app);

    const QString scenarioFile = parser.positionalArguments().value(0, QStringLiteral(TOPOLOGY_DEFAULT_SCENARIO));
    const QString pluginFile = findPluginFile(parser.value(pluginDirOption));
    QPluginLoader loader(pluginFile);
    auto* plugin = qobject_cast<PluginBase*>(loader.instance());
    if (!plugin) {
        out << "Cannot load the plug-in from " << parser.value(pluginDirOption) << ": " << loader.errorString() << '\n';
        return 2;
    }

    SimulatedFramework framework;
    SimulatedInstallation installation;
    if (!installation.loadFile(scenarioFile)) {
        out << "Cannot read the scenario " << scenarioFile << ": " << installation.errorString() << '\n';
        return 2;
    }
    framework.setPlugin(plugin);

    out << "Loaded " << QDir::current().relativeFilePath(pluginFile) << " ("
        << loader.metaData().value(QStringLiteral("className")).toString() << ")\n";
    if (parser.isSet(standaloneOption)) {
        out << "Standalone player, no servers; the local databases of "
            << QDir::current().relativeFilePath(scenarioFile) << ":\n";
        return playLocalDatabases(*plugin, framework, installation.scenario(), out);
    }
    installation.attach(&framework);
    out << "Connecting to the installation of " << QDir::current().relativeFilePath(scenarioFile) << "\n";
    out.flush();

    if (!plugin->InitialPluginBase(nullptr, nullptr, &framework)) {
        out << "The plug-in refused to initialise\n";
        return 2;
    }

    // The logical tree as the client's standard view shows it: sorted, filtered,
    // special folders first.
    QAbstractItemModel* logicalView = nullptr;
    QMetaObject::invokeMethod(plugin, "getLogicalTreeSortFilterModel", Q_RETURN_ARG(QAbstractItemModel*, logicalView),
                              Q_ARG(QObject*, &app));
    // Rows of the logical view whose data changed since the last broadcast; they
    // are described when the next one starts, so each shows its settled state.
    QList<QPersistentModelIndex> changedRows;
    // The web pages as the client's list shows them: sorted by name.
    QAbstractItemModel* webPageView = nullptr;
    QMetaObject::invokeMethod(plugin, "getWebPageTreeSortFilterModel", Q_RETURN_ARG(QAbstractItemModel*, webPageView),
                              Q_ARG(QObject*, &app));
    if (webPageView)
        QMetaObject::invokeMethod(webPageView, "setSort", Q_ARG(Qt::SortOrder, Qt::AscendingOrder));
    // Whether the module announced a new web page list since the last broadcast.
    bool webPagesChanged = false;

    QElapsedTimer clock;
    clock.start();
    int exitCode = 0;
    DemoPrinter printer(out);
    QTimer progress;
    const int timeoutMs = parser.value(timeoutOption).toInt() * 1000;
    QObject::connect(&progress, &QTimer::timeout, &app, [&] {
        const QStringList pending = flagsStillFalse(*plugin);
        out << QStringLiteral("  %1 ms: %2 requests answered, waiting for: %3\n")
                   .arg(clock.elapsed())
                   .arg(framework.requests().size() - installation.pendingAnswers())
                   .arg(pending.isEmpty() ? QStringLiteral("nothing") : pending.join(QStringLiteral(", ")));
        out.flush();
        if (pending.isEmpty()) {
            progress.stop();
            if (logicalView) {
                out << "\nLogical tree (standard view):\n";
                printer.printLogicalTree(*logicalView);
                QObject::connect(logicalView, &QAbstractItemModel::dataChanged, &app,
                                 [&](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                                     for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
                                         const QPersistentModelIndex changed(topLeft.sibling(row, 0));
                                         if (!changedRows.contains(changed))
                                             changedRows << changed;
                                     }
                                 });
            }
            if (webPageView) {
                out << "\nWeb pages (sorted view):\n";
                printer.printWebPages(*webPageView);
            }
            out << "\nReplaying the timeline (" << installation.scenario().timeline().size()
                << " broadcasts); the module's signals follow each one:\n";
            printer.printSignalsOf(*plugin, [&](const QByteArray& signal) {
                webPagesChanged = webPagesChanged || signal == "webPageChanged";
            });
            installation.setTimelineTimeScale(parser.value(timeScaleOption).toDouble());
            installation.startTimeline();
        } else if (clock.elapsed() > timeoutMs) {
            out << "Timed out; still false: " << pending.join(QStringLiteral(", ")) << '\n';
            exitCode = 1;
            app.quit();
        }
    });

    // What the previous broadcast changed in the logical view and the web page
    // list, once its signals are out.
    const auto flushChangedRows = [&] {
        for (const QPersistentModelIndex& row : std::as_const(changedRows)) {
            if (row.isValid())
                out << "    logical row now: " << printer.describeLogicalRow(row) << '\n';
        }
        changedRows.clear();
        if (webPagesChanged && webPageView) {
            out << "    web pages now:\n";
            printer.printWebPages(*webPageView, 3);
        }
        webPagesChanged = false;
    };
    QObject::connect(&installation, &SimulatedInstallation::timelineEventSending, &app, [&](int entry, const QString& event) {
        flushChangedRows();
        const QVariant payload = installation.scenario().timeline().at(entry).payload;
        out << QStringLiteral("  %1 ms: %2 ").arg(clock.elapsed()).arg(event)
            << QJsonDocument::fromVariant(payload).toJson(QJsonDocument::Compact) << '\n';
        out.flush();
    });
    // The broadcasts may have asked the servers for more; their answers still belong to the story.
    QTimer settling;
    QObject::connect(&installation, &SimulatedInstallation::timelineFinished, &app, [&] { settling.start(20); });
    QObject::connect(&settling, &QTimer::timeout, &app, [&] {
        if (installation.pendingAnswers() == 0)
            app.quit();
    });

    progress.start(50);
    plugin->PluginServerConnected();
    app.exec();

    flushChangedRows();
    printer.stopPrintingSignals();
    out << "\nDevice tree (" << framework.requests().size() << " requests sent):\n";
    QAbstractItemModel* model = nullptr;
    QMetaObject::invokeMethod(plugin, "getStandardTopologyModel", Q_RETURN_ARG(QAbstractItemModel*, model));
    if (model)
        printer.printDeviceTree(*model);
    if (logicalView) {
        out << "\nLogical tree (standard view):\n";
        printer.printLogicalTree(*logicalView);
    }
    out.flush();

    plugin->PluginServerDisconnected();
    installation.detach();
    return exitCode;
}
