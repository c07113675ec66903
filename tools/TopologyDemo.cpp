// Demo host: loads the PluginTopologyMgt plug-in file, connects it to a
// simulated installation and shows the retrieval's progress; once everything is
// retrieved it shows the logical tree and the web pages, replays the scenario's
// timeline of broadcasts, printing each broadcast and every signal the module
// emits in answer, and last prints the device tree the module ends up with.
//
//   topology-demo [scenario.json] [--plugin-dir DIR] [--timeout SECONDS] [--time-scale FACTOR]

#include "DemoPrinter.h"
#include "PluginBase.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
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
    installation.attach(&framework);
    framework.setPlugin(plugin);

    out << "Loaded " << QDir::current().relativeFilePath(pluginFile) << " ("
        << loader.metaData().value(QStringLiteral("className")).toString() << ")\n";
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
    // Rows of the logical view whose data changed since the last broadcast.
    QStringList changedRows;
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
                                         const QString line =
                                             printer.describeLogicalRow(topLeft.sibling(row, 0));
                                         if (!changedRows.contains(line))
                                             changedRows << line;
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
        for (const QString& line : std::as_const(changedRows))
            out << "    logical row now: " << line << '\n';
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
