#include "NodeDataCommander.h"

#include "RequestContexts.h"

NodeDataCommander::NodeDataCommander(QObject* parent) : QObject(parent) {}

NodeDataCommander::~NodeDataCommander() = default;

void NodeDataCommander::start() {}

void NodeDataCommander::reset() {}

void NodeDataCommander::commandProcessor(const QString& command, const QVariant&, void* pvContext, const QString&, bool)
{
    RequestContexts::release(command, pvContext);
}

void NodeDataCommander::retrieveAllDeviceTopology(const QString&) {}
void NodeDataCommander::retrieveDeviceTopology(const QString&) {}
void NodeDataCommander::retrieveLogicalTree() {}
void NodeDataCommander::queryLocations(const QString&) {}
void NodeDataCommander::retrieveAllCamInfo(const QString&) {}
void NodeDataCommander::retrieveServerInfo(const QString&) {}
void NodeDataCommander::retrieveRuleInfo(const QString&) {}
void NodeDataCommander::getCameraStatus(const QString&, const QString&) {}

bool NodeDataCommander::nodeInfoRetrieved() const { return false; }
bool NodeDataCommander::camStatusRetrieved() const { return false; }
bool NodeDataCommander::topologyRetrieved() const { return false; }
bool NodeDataCommander::serverInfoRetrieved() const { return false; }
bool NodeDataCommander::logicalTreeRetrieved() const { return false; }
bool NodeDataCommander::locationRetrieved() const { return false; }
