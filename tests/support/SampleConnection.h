#pragma once

#include "PluginTopologyMgt.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QAbstractItemModelTester>
#include <QDebug>
#include <QFile>
#include <QJsonDocument>
#include <QTest>

#include <memory>

// The plug-in connected to a simulated installation (the bundled sample unless
// told otherwise) with the retrieval finished and every answer delivered, or,
// when told not to connect yet, ready to connect. Qt's model checks watch the
// device model and the logical tree model from before the first request.
struct SampleConnection
{
    explicit SampleConnection(const QVariantMap& scenario = sampleScenario(), bool connectNow = true)
    {
        loaded = installation.load(scenario);
        installation.attach(&framework);
        framework.setPlugin(&plugin);
        plugin.InitialPluginBase(nullptr, nullptr, &framework);
        deviceModelTester = std::make_unique<QAbstractItemModelTester>(
            plugin.getStandardTopologyModel(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        logicalModelTester = std::make_unique<QAbstractItemModelTester>(
            plugin.logicalTree().getModel(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        if (connectNow)
            connectAndWait();
    }
    // Connects, and waits for the six flags and for every answer to be delivered.
    bool connectAndWait()
    {
        plugin.PluginServerConnected();
        retrieved = QTest::qWaitFor([this] { return allRetrieved() && installation.pendingAnswers() == 0; });
        return retrieved;
    }
    ~SampleConnection() { installation.detach(); }

    static QVariantMap sampleScenario()
    {
        QFile file(QString::fromLocal8Bit(qgetenv("TOPOLOGY_EXAMPLES_DIR")) + QStringLiteral("/sample-installation.json"));
        if (!file.open(QIODevice::ReadOnly))
            return QVariantMap();
        return QJsonDocument::fromJson(file.readAll()).toVariant().toMap();
    }

    bool ready() const { return loaded && retrieved; }
    bool allRetrieved() const
    {
        return plugin.topologyRetrieved() && plugin.nodeInfoRetrieved() && plugin.serverInfoRetrieved()
            && plugin.locationRetrieved() && plugin.logicalTreeRetrieved() && plugin.camStatusRetrieved();
    }

    // The stations a request was sent for, in the order sent.
    QStringList stationsAskedFor(const QString& command) const
    {
        QStringList stations;
        for (const RecordedRequest& request : framework.requests()) {
            if (request.command == command)
                stations << request.arguments.toMap().value(QStringLiteral("relayPath")).toString();
        }
        return stations;
    }
    void broadcast(const QString& event, const QVariant& payload) { framework.broadcast(event, payload); }
    void reply(const QString& command, const QVariant& data, const QString& code = QStringLiteral("0"))
    {
        plugin.CommandProcessor(command, data, nullptr, code, QString(), true, QString());
    }
    QVariant device(const QString& id, const char* roleName) const { return plugin.deviceTree().data(id, QString::fromLatin1(roleName)); }
    // The first logical tree node with that tree ID, found as a view would.
    QModelIndex logicalNode(const QString& treeId)
    {
        QAbstractItemModel* model = plugin.logicalTree().getModel();
        return model->match(model->index(0, 0), LogicalTreeModel::idRole, treeId, 1,
                            Qt::MatchRecursive | Qt::MatchExactly)
            .value(0);
    }

    // What the views and the other plug-ins can read of the connection: every
    // row of the device tree with all of its data and the locations recording
    // it, every row of the logical tree, each camera's information record and
    // status, and the logical tree as the servers sent it.
    QStringList snapshot()
    {
        QStringList lines;
        dumpRows(plugin.getStandardTopologyModel(), QModelIndex(), lines, true);
        dumpRows(plugin.logicalTree().getModel(), QModelIndex(), lines, false);
        for (const QVariant& camera : plugin.getCameraInfoList()) {
            const QString cameraId = camera.toMap().value(QStringLiteral("idRole")).toString();
            QDebug(&lines.emplaceBack()) << camera << plugin.cameraStatus(cameraId);
        }
        QDebug(&lines.emplaceBack()) << plugin.getLogicalTreeMap();
        return lines;
    }
    void dumpRows(const QAbstractItemModel* model, const QModelIndex& parent, QStringList& lines, bool withLocations)
    {
        for (int row = 0; row < model->rowCount(parent); ++row) {
            const QModelIndex index = model->index(row, 0, parent);
            QDebug line(&lines.emplaceBack());
            line << model->itemData(index);
            if (withLocations) {
                const QString nodeId = index.data(StandardTopologyModel::idRole).toString();
                line << plugin.locationInfo(nodeId) << plugin.streamInfo(nodeId);
            }
            dumpRows(model, index, lines, withLocations);
        }
    }

    // Each emission as one line of its arguments' texts: "0 C_3 false".
    static QStringList texts(const QList<QList<QVariant>>& emissions)
    {
        QStringList lines;
        for (const QList<QVariant>& arguments : emissions) {
            QStringList values;
            for (const QVariant& argument : arguments)
                values << argument.toString();
            lines << values.join(QLatin1Char(' '));
        }
        return lines;
    }

    bool loaded = false;
    bool retrieved = false;
    SimulatedFramework framework;
    SimulatedInstallation installation;
    PluginTopologyMgt plugin;
    std::unique_ptr<QAbstractItemModelTester> deviceModelTester;
    std::unique_ptr<QAbstractItemModelTester> logicalModelTester;
};
