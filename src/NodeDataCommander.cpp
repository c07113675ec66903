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
void NodeDataCommander::retrieveCamInfo(const QString&, const QStringList&) {}
void NodeDataCommander::retrieveServerInfo(const QString&) {}
void NodeDataCommander::retrieveRuleInfo(const QString&) {}
void NodeDataCommander::getCameraStatus(const QString&, const QString&) {}

bool NodeDataCommander::isNodeInfoRetrieved() const { return false; }
bool NodeDataCommander::isCamStatusRetrieved() const { return false; }
bool NodeDataCommander::isTopologyRetrieved() const { return false; }
bool NodeDataCommander::isServerInfoRetrieved() const { return false; }
bool NodeDataCommander::isLogicalTreeRetrieved() const { return false; }
bool NodeDataCommander::isLocationRetrieved() const { return false; }
