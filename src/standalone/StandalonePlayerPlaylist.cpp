#include "StandalonePlayerPlaylist.h"

#include "LogicalTreeNames.h"
#include "PayloadFields.h"
#include "LocalDatabaseKeys.h"

#include <QStandardItem>
#include <QStandardItemModel>
#include <QUuid>

namespace {
const QString kLocalDbId = LogicalTreeNames::kLocalDbFolder;
const QString kMetaInfoKey = LocalDatabaseKeys::kMetaInfo;

using PayloadFields::isMap;

QStandardItem* createItem(const QString& id, int type, const QString& name, const QString& cameraNodeId)
{
    auto* item = new QStandardItem;
    item->setData(id, StandalonePlayerPlaylist::idRole);
    item->setData(type, StandalonePlayerPlaylist::typeRole);
    item->setData(name, StandalonePlayerPlaylist::nameRole);
    item->setData(cameraNodeId, StandalonePlayerPlaylist::cameraNodeIDRole);
    return item;
}

QString cameraNodeId(const QString& recordingPath, const QString& key)
{
    return recordingPath.isEmpty() ? key : recordingPath + QLatin1Char('/') + key;
}
} // namespace

StandalonePlayerPlaylist::StandalonePlayerPlaylist(QObject* parent)
    : QObject(parent), m_model(new QStandardItemModel(this))
{
    m_model->setItemRoleNames({
        {idRole, QByteArrayLiteral("idRole")},
        {typeRole, QByteArrayLiteral("typeRole")},
        {nameRole, QByteArrayLiteral("nameRole")},
        {cameraNodeIDRole, QByteArrayLiteral("cameraNodeIDRole")},
    });
    QStandardItem* root = createItem(kLocalDbId, FolderItem, QStringLiteral("Local DB"), kLocalDbId);
    // Without a column of its own, the first database would make the root insert
    // one in the middle of the row insertion, a notification nested in another.
    root->setColumnCount(1);
    m_model->appendRow(root);
}

StandalonePlayerPlaylist::~StandalonePlayerPlaylist() = default;

void StandalonePlayerPlaylist::appendLocalDB(const QVariantMap& cameras, const QString& dbName)
{
    QStandardItem* folder = createItem(QUuid::createUuid().toString(), FolderItem, dbName, QString());
    for (auto camera = cameras.cbegin(); camera != cameras.cend(); ++camera) {
        if (camera.key() == kMetaInfoKey || !isMap(camera.value()))
            continue;
        const QVariantMap entry = camera.value().toMap();
        const QString nodeId = cameraNodeId(PayloadFields::textOf(entry, "recPath"), camera.key());
        folder->appendRow(createItem(nodeId, CameraItem, PayloadFields::textOf(entry, "camName"), nodeId));
    }
    rootFolder()->appendRow(folder);
}

void StandalonePlayerPlaylist::clear()
{
    QStandardItem* root = rootFolder();
    if (root->rowCount() > 0)
        root->removeRows(0, root->rowCount());
}

bool StandalonePlayerPlaylist::isEmpty() const
{
    return rootFolder()->rowCount() == 0;
}

QStandardItemModel* StandalonePlayerPlaylist::getModel() const
{
    return m_model;
}

QStandardItem* StandalonePlayerPlaylist::rootFolder() const
{
    return m_model->item(0);
}
