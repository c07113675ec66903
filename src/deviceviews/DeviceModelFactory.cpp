#include "DeviceModelFactory.h"

#include "DeviceSortFilterModel.h"
#include "EventDeviceModel.h"
#include "TreeToListProxyModel.h"

DeviceSortFilterModel* DeviceModelFactory::createFilteredStandardTopologyModel(QAbstractItemModel* deviceModel,
                                                                               QObject* parent)
{
    return createUnfiltered(deviceModel, parent);
}

DeviceSortFilterModel* DeviceModelFactory::createCountingCameraDeviceTreeModel(QAbstractItemModel* deviceModel,
                                                                               QObject* parent)
{
    auto* model = new DeviceSortFilterModel(parent);
    model->setUnionFilter({QVariantMap{{QStringLiteral("role"), QStringLiteral("isVCARole")},
                                       {QStringLiteral("value"), true}}});
    model->setSourceModel(deviceModel);
    return model;
}

DeviceSortFilterModel* DeviceModelFactory::createFailoverTopologyModel(QAbstractItemModel* failoverTopology,
                                                                       QObject* parent)
{
    return createUnfiltered(failoverTopology, parent);
}

DeviceSortFilterModel* DeviceModelFactory::createFailoverTopologyModelWithoutRedundantServer(
        QAbstractItemModel* failoverTopologyWithoutRedundantServers, QObject* parent)
{
    return createUnfiltered(failoverTopologyWithoutRedundantServers, parent);
}

EventDeviceModel* DeviceModelFactory::createGeneralDeviceModel(QAbstractItemModel* deviceModel, QObject* parent)
{
    return createEventModel(deviceModel, parent, QStringList(), QStringList());
}

EventDeviceModel* DeviceModelFactory::createSmartVCADeviceModel(QAbstractItemModel* deviceModel, QObject* parent)
{
    return createEventModel(deviceModel, parent, smartVCACameraCapabilities(), QStringList());
}

EventDeviceModel* DeviceModelFactory::createThermalDeviceModel(QAbstractItemModel* deviceModel, QObject* parent)
{
    return createEventModel(deviceModel, parent, thermalCameraCapabilities(), QStringList());
}

EventDeviceModel* DeviceModelFactory::createTrendMicroDeviceModel(QAbstractItemModel* deviceModel, QObject* parent)
{
    return createEventModel(deviceModel, parent, trendMicroCameraCapabilities(), trendMicroStationCapabilities());
}

TreeToListProxyModel* DeviceModelFactory::createTreeToListProxyModel(QAbstractItemModel* source, QObject* parent)
{
    auto* model = new TreeToListProxyModel(parent);
    model->setSourceModel(source);
    return model;
}

QStringList DeviceModelFactory::smartVCACameraCapabilities()
{
    return {QStringLiteral("suppLineCrossing"), QStringLiteral("suppFieldDetection"), QStringLiteral("suppLoitering"),
            QStringLiteral("suppSmartVca"),     QStringLiteral("suppZoneDetection"),  QStringLiteral("suppSmartTracking"),
            QStringLiteral("suppAutoTracking")};
}

QStringList DeviceModelFactory::thermalCameraCapabilities()
{
    return {QStringLiteral("suppTemperatureThresholdWarning"),
            QStringLiteral("suppTemperatureThresholdAlarm"),
            QStringLiteral("suppTemperatureDifferenceWarning"),
            QStringLiteral("suppTemperatureDifferenceAlarm"),
            QStringLiteral("suppTemperatureSectionAlarm"),
            QStringLiteral("suppTemperatureRiseWarning"),
            QStringLiteral("suppTemperatureRiseAlarm"),
            QStringLiteral("suppThermalIntrusion"),
            QStringLiteral("suppThermalMultiLoitering"),
            QStringLiteral("suppThermalFireSpot"),
            QStringLiteral("suppThermalSmoker"),
            QStringLiteral("suppThermalSmokeAndFlame")};
}

QStringList DeviceModelFactory::trendMicroCameraCapabilities()
{
    return {QStringLiteral("suppBruteForceAttack"), QStringLiteral("suppCyberAttack"),
            QStringLiteral("suppQuarantineEvent")};
}

QStringList DeviceModelFactory::trendMicroStationCapabilities()
{
    return {QStringLiteral("bruteForceAttackCapRole"), QStringLiteral("cyberAttackCapRole"),
            QStringLiteral("quarantineEventCapRole")};
}

DeviceSortFilterModel* DeviceModelFactory::createUnfiltered(QAbstractItemModel* source, QObject* parent)
{
    auto* model = new DeviceSortFilterModel(parent);
    model->setSourceModel(source);
    return model;
}

EventDeviceModel* DeviceModelFactory::createEventModel(QAbstractItemModel* source, QObject* parent,
                                                       const QStringList& cameraCapabilities,
                                                       const QStringList& stationCapabilities)
{
    auto* model = new EventDeviceModel(parent);
    model->setCameraEventCapability(cameraCapabilities);
    model->setStationEventCapability(stationCapabilities);
    model->setSourceModel(source);
    return model;
}
