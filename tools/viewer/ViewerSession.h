#pragma once

#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPluginLoader>
#include <QPointer>
#include <QQuickWindow>
#include <QStringList>
#include <QTimer>

class PluginBase;
class QQmlApplicationEngine;

// The viewer's side of a host: loads the built plug-in file through
// QPluginLoader, connects it to a simulated installation (a scenario file or a
// generated one), registers the module's QML names and loads the viewer's QML,
// which reaches the plug-in as the context property "pluginTopologyMgt" and this
// object as "viewerSession". It replays the scenario's timeline on request and
// prints how long after connecting the first frame showed the whole device tree.
class ViewerSession : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString scenarioName READ scenarioName CONSTANT)
    Q_PROPERTY(int timelineLength READ timelineLength CONSTANT)
    Q_PROPERTY(int broadcastsSent READ broadcastsSent NOTIFY broadcastsSentChanged)
    Q_PROPERTY(QString lastBroadcast READ lastBroadcast NOTIFY broadcastsSentChanged)
    Q_PROPERTY(bool replaying READ replaying NOTIFY replayingChanged)
    Q_PROPERTY(bool replayed READ replayed NOTIFY replayingChanged)
    Q_PROPERTY(bool replayOnRetrieval READ replayOnRetrieval CONSTANT)

public:
    struct Options
    {
        QString pluginDir;
        // Read when cameras is 0.
        QString scenarioFile;
        // A generated installation of about this many cameras.
        int cameras = 0;
        // Factor for the timeline's delays.
        double timeScale = 0.25;
        // Replays the timeline as soon as everything is retrieved.
        bool replay = false;
    };

    explicit ViewerSession(QObject* parent = nullptr);
    ~ViewerSession() override;

    // Loads the plug-in and the installation and initialises the plug-in;
    // false with errorString() when any of it fails.
    bool open(const Options& options);
    // Registers the module's QML names and loads the viewer's window; false when
    // the QML does not load.
    bool show(QQmlApplicationEngine& engine);
    // Starts the retrieval; the time to the full tree is measured from here.
    void connectToInstallation();

    QString errorString() const { return m_error; }
    QObject* plugin() const;
    QQuickWindow* window() const { return m_window; }
    // -1 until a frame has shown the whole tree.
    qint64 fullTreeShownMs() const { return m_fullTreeShownMs; }
    bool settled() const;

    QString scenarioName() const { return m_scenarioName; }
    int timelineLength() const;
    int broadcastsSent() const { return m_broadcastsSent; }
    QString lastBroadcast() const { return m_lastBroadcast; }
    bool replaying() const { return m_replaying; }
    bool replayed() const { return m_replayed; }
    bool replayOnRetrieval() const { return m_options.replay; }

    Q_INVOKABLE void startTimeline();
    // Called by the QML once every node of the device tree is expanded in its
    // view (a TreeView); the next frame is the one that shows the whole tree.
    Q_INVOKABLE void fullTreeLaidOut(QObject* treeView);

signals:
    void broadcastsSentChanged();
    void replayingChanged();
    void fullTreeShown(qint64 milliseconds);

private:
    void disconnectPlugin();

    Options m_options;
    QString m_error;
    QString m_scenarioName;
    QPluginLoader m_loader;
    PluginBase* m_plugin = nullptr;
    SimulatedFramework m_framework;
    SimulatedInstallation m_installation;
    QPointer<QQuickWindow> m_window;
    QElapsedTimer m_sinceConnecting;
    qint64 m_fullTreeShownMs = -1;
    QMetaObject::Connection m_frameConnection;
    int m_broadcastsSent = 0;
    QString m_lastBroadcast;
    bool m_replaying = false;
    bool m_replayed = false;
    bool m_connected = false;
    // The broadcasts may ask the servers for more; the replay ends with their answers.
    QTimer m_settling;
};
