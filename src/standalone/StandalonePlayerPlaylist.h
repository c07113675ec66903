#pragma once

#include <QObject>
#include <QString>
#include <QVariant>

class QStandardItem;
class QStandardItemModel;

// The standalone player's list of local databases: a single root folder, "Local
// DB", under which every appended database is a folder of its cameras. Roles,
// role names and item kinds are those of the logical tree's model, so that the
// logical tree's proxies can show the playlist.
//
// A database arrives as a map from each camera's key to {"camName", "recPath"};
// the camera's node id, the key of its location record, is recPath + "/" + key,
// or the bare key when recPath is missing or empty.
// The entry "LocObjectMetaInfo" describes the database, not a camera, and is
// skipped, as the logical tree skips it; so is any entry whose value is not a
// map. Camera names are shown as the database gives them.
class StandalonePlayerPlaylist : public QObject
{
    Q_OBJECT
public:
    enum Roles {
        idRole = Qt::UserRole + 1,
        typeRole,
        nameRole,
        cameraNodeIDRole,
    };
    Q_ENUM(Roles)

    // Stored under typeRole; the logical tree's Folder and LocalDBCamera kinds.
    enum ItemType {
        FolderItem = 0,
        CameraItem = 4,
    };
    Q_ENUM(ItemType)

    explicit StandalonePlayerPlaylist(QObject* parent = nullptr);
    ~StandalonePlayerPlaylist() override;

    // Adds a new folder named dbName, even when one of that name is shown
    // already, in one insertion: the folder with all its cameras.
    void appendLocalDB(const QVariantMap& cameras, const QString& dbName);
    // Removes every database; the root folder stays.
    void clear();
    bool isEmpty() const;
    QStandardItemModel* getModel() const;

private:
    QStandardItem* rootFolder() const;

    // Parented to the playlist, so that a view that is handed the model never
    // takes it over.
    QStandardItemModel* m_model;
};
