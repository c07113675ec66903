#include "ViewerSession.h"

#include "PluginBase.h"
#include "ScenarioGenerator.h"
#include "TopologyQml.h"

#include <QDir>
#include <QFileInfo>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTextStream>

#include <cmath>

namespace {

QString findPluginFile(const QString& directory)
{
    const QDir dir(directory);
    const QStringList files = dir.entryList(QStringList() << QStringLiteral("*PluginTopologyMgt*"), QDir::Files);
    return files.isEmpty() ? QString() : dir.filePath(files.first());
}

// Sixteen cameras a station, the stations in chains two deep, so that a large
// installation is both wide and nested.
ScenarioGenerator::Options generatedInstallation(int cameras)
{
    ScenarioGenerator::Options options;
    options.camerasPerStation = 16;
    options.depth = 2;
    options.stations = qMax(options.depth, int(std::lround(cameras / 16.0)) - 1);
    return options;
}

} // namespace

ViewerSession::ViewerSession(QObject* parent)
    : QObject(parent)
{
    connect(&m_installation, &SimulatedInstallation::timelineEventSent, this, [this](int, const QString& event) {
        ++m_broadcastsSent;
        m_lastBroadcast = event;
        emit broadcastsSentChanged();
    });
    connect(&m_installation, &SimulatedInstallation::timelineFinished, this, [this] { m_settling.start(20); });
    connect(&m_settling, &QTimer::timeout, this, [this] {
        if (m_installation.pendingAnswers() != 0)
            return;
        m_settling.stop();
        m_replaying = false;
        m_replayed = true;
        emit replayingChanged();
    });
}

ViewerSession::~ViewerSession()
{
    disconnectPlugin();
}

void ViewerSession::disconnectPlugin()
{
    if (m_plugin && m_connected)
        m_plugin->PluginServerDisconnected();
    m_connected = false;
    m_installation.detach();
}

bool ViewerSession::open(const Options& options)
{
    m_options = options;
    const QString pluginFile = findPluginFile(options.pluginDir);
    m_loader.setFileName(pluginFile);
    m_plugin = qobject_cast<PluginBase*>(m_loader.instance());
    if (!m_plugin) {
        m_error = QStringLiteral("Cannot load the plug-in from %1: %2").arg(options.pluginDir, m_loader.errorString());
        return false;
    }
    if (options.cameras > 0) {
        const ScenarioGenerator::Options generated = generatedInstallation(options.cameras);
        if (!m_installation.load(ScenarioGenerator::generate(generated))) {
            m_error = QStringLiteral("Cannot generate the installation: %1").arg(m_installation.errorString());
            return false;
        }
        m_scenarioName = QStringLiteral("generated installation: %1 cameras, %2 stations")
                             .arg(ScenarioGenerator::cameraCount(generated))
                             .arg(ScenarioGenerator::stationCount(generated));
    } else if (!m_installation.loadFile(options.scenarioFile)) {
        m_error = QStringLiteral("Cannot read the scenario %1: %2").arg(options.scenarioFile, m_installation.errorString());
        return false;
    } else {
        m_scenarioName = QFileInfo(options.scenarioFile).fileName();
    }
    m_installation.setTimelineTimeScale(options.timeScale);
    m_framework.setPlugin(m_plugin);
    m_installation.attach(&m_framework);
    if (!m_plugin->InitialPluginBase(nullptr, nullptr, &m_framework)) {
        m_error = QStringLiteral("The plug-in refused to initialise");
        return false;
    }
    return true;
}

QObject* ViewerSession::plugin() const
{
    return m_plugin;
}

bool ViewerSession::show(QQmlApplicationEngine& engine)
{
    if (!TopologyQml::registerTypes(m_plugin, engine.rootContext())) {
        m_error = QStringLiteral("The plug-in offers no models to register");
        return false;
    }
    // The style every platform has, so that the viewer looks the same everywhere.
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    engine.rootContext()->setContextProperty(QStringLiteral("viewerSession"), this);
    engine.load(QUrl(QStringLiteral("qrc:/viewer/Main.qml")));
    const QList<QObject*> roots = engine.rootObjects();
    m_window = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
    if (!m_window) {
        m_error = QStringLiteral("The viewer's window did not load");
        return false;
    }
    return true;
}

void ViewerSession::connectToInstallation()
{
    m_sinceConnecting.start();
    m_connected = true;
    m_plugin->PluginServerConnected();
}

bool ViewerSession::settled() const
{
    return m_installation.pendingAnswers() == 0;
}

int ViewerSession::timelineLength() const
{
    return int(m_installation.scenario().timeline().size());
}

void ViewerSession::startTimeline()
{
    if (m_replaying)
        return;
    m_broadcastsSent = 0;
    m_replaying = true;
    m_replayed = false;
    emit broadcastsSentChanged();
    emit replayingChanged();
    m_installation.startTimeline();
}

void ViewerSession::fullTreeLaidOut(QObject* treeView)
{
    if (m_fullTreeShownMs >= 0 || !m_window || !treeView || m_frameConnection)
        return;
    const QPointer<QObject> view(treeView);
    m_frameConnection = connect(m_window, &QQuickWindow::frameSwapped, this, [this, view] {
        disconnect(m_frameConnection);
        m_fullTreeShownMs = m_sinceConnecting.elapsed();
        // The view takes in its expanded rows when it lays itself out for this frame.
        const int rows = view ? view->property("rows").toInt() : 0;
        QTextStream(stdout) << "Full device tree (" << rows << " rows) on screen " << m_fullTreeShownMs
                            << " ms after connecting\n";
        emit fullTreeShown(m_fullTreeShownMs);
    });
    m_window->update();
}
