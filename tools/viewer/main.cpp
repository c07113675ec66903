// The QML viewer: a QtQuick host of the PluginTopologyMgt plug-in on a
// simulated installation. It shows the device tree, the flat list, the logical
// tree, the web pages and the retrieval's progress, and replays the scenario's
// timeline on request (or at once with --replay).
//
//   topology-viewer [scenario.json | --cameras N] [--replay] [--time-scale FACTOR] [--plugin-dir DIR]

#include "ViewerSession.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("scenario"), QStringLiteral("Scenario file (JSON)."));
    const QCommandLineOption pluginDir(QStringLiteral("plugin-dir"), QStringLiteral("Folder of the plug-in file."),
                                       QStringLiteral("dir"), qEnvironmentVariable("TOPOLOGY_PLUGIN_DIR",
                                                                                   QStringLiteral(TOPOLOGY_DEFAULT_PLUGIN_DIR)));
    const QCommandLineOption cameras(QStringLiteral("cameras"),
                                     QStringLiteral("A generated installation of about N cameras instead of a file."),
                                     QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption timeScale(QStringLiteral("time-scale"),
                                       QStringLiteral("Factor for the timeline's delays (default 0.25)."),
                                       QStringLiteral("factor"), QStringLiteral("0.25"));
    const QCommandLineOption replay(QStringLiteral("replay"),
                                    QStringLiteral("Replay the timeline as soon as everything is retrieved."));
    parser.addOptions({pluginDir, cameras, timeScale, replay});
    parser.process(app);

    ViewerSession::Options options;
    options.pluginDir = parser.value(pluginDir);
    options.scenarioFile = parser.positionalArguments().value(0, QStringLiteral(TOPOLOGY_DEFAULT_SCENARIO));
    options.cameras = parser.value(cameras).toInt();
    options.timeScale = parser.value(timeScale).toDouble();
    options.replay = parser.isSet(replay);

    ViewerSession session;
    QQmlApplicationEngine engine;
    if (!session.open(options) || !session.show(engine)) {
        QTextStream(stderr) << session.errorString() << '\n';
        return 2;
    }
    session.connectToInstallation();
    return app.exec();
}
