// Demo host: loads the PluginTopologyMgt plug-in file, connects it to a
// simulated installation, shows the retrieval's progress and prints the device
// tree the module built.
//
//   topology-demo [scenario.json] [--plugin-dir DIR] [--timeout SECONDS]

#include "DemoPrinter.h"
#include "PluginBase.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
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
    parser.addOption(pluginDirOption);
    parser.addOption(timeoutOption);
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

    QElapsedTimer clock;
    clock.start();
    int exitCode = 0;
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
            app.quit();
        } else if (clock.elapsed() > timeoutMs) {
            out << "Timed out; still false: " << pending.join(QStringLiteral(", ")) << '\n';
            exitCode = 1;
            app.quit();
        }
    });
    progress.start(50);
    plugin->PluginServerConnected();
    app.exec();

    out << "\nDevice tree (" << framework.requests().size() << " requests sent):\n";
    QAbstractItemModel* model = nullptr;
    QMetaObject::invokeMethod(plugin, "getStandardTopologyModel", Q_RETURN_ARG(QAbstractItemModel*, model));
    if (model) {
        DemoPrinter printer(out);
        printer.printDeviceTree(*model);
    }
    out.flush();

    plugin->PluginServerDisconnected();
    installation.detach();
    return exitCode;
}
