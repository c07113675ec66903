#pragma once

#include <QHash>
#include <QList>
#include <QMultiHash>
#include <QObject>
#include <QStringList>

#include <functional>
#include <optional>

class QModelIndex;
class QStandardItem;
class QStandardItemModel;

// Finds the items of a QStandardItemModel by a text key read from each item
// (usually an identifier role) with a hash find, so that a look-up costs the
// same in a tree of ten nodes and of fifty thousand. Several items may share a
// key (one camera placed in several folders).
//
// It follows the model's own notifications, connected once here: inserted rows
// are filed with their whole subtree, rows about to be removed are forgotten
// with theirs (a walk of that subtree only), an item whose key role changes is
// refiled, and a reset, a layout change or the removal of column 0 refile what
// is left. Moved rows keep their items and need nothing. Items are held rather
// than persistent indexes: Qt visits every persistent index of a model on each
// row insertion or removal, so one per node would make every change cost a walk
// of the whole tree. Deleting an item that is in the model bypasses all of the
// notifications and is not supported.
class IdentifierIndex : public QObject
{
    Q_OBJECT
public:
    // The key an item is filed under, or nothing for an item that is not filed.
    using KeyOf = std::function<std::optional<QString>(const QStandardItem&)>;
    enum class Keys { Unique, Shared };

    // Files every item under the text of keyRole.
    IdentifierIndex(QStandardItemModel* model, int keyRole, Keys keys, QObject* parent = nullptr);
    // Files items under keyOf; keyRoles are the roles it reads, so that a
    // dataChanged naming one of them (or no role) refiles the item.
    IdentifierIndex(QStandardItemModel* model, KeyOf keyOf, const QList<int>& keyRoles, Keys keys,
                    QObject* parent = nullptr);

    // Of the items filed under key, the one a pre-order walk of the tree meets
    // first; null when none is.
    QStandardItem* first(const QString& key) const;
    // Every item filed under key, in no particular order.
    QList<QStandardItem*> items(const QString& key) const;
    bool contains(const QString& key) const { return m_itemsByKey.contains(key); }
    // Whether an item filed under key is one of rows first..last under parent
    // or lies below one of them; it climbs from each such item, never walks
    // the rows.
    bool isFiledWithin(const QString& key, const QModelIndex& parent, int first, int last) const;

    // Walks the whole tree and compares it with the index: every item with a
    // key must be filed under it, nothing else may be filed, and with unique
    // keys no two items may share one. One line per fault, none when they
    // agree. For tests and debugging; it costs a walk.
    QStringList faults() const;

private:
    void connectToModel();
    void fileRows(const QModelIndex& parent, int first, int last);
    void forgetRows(const QModelIndex& parent, int first, int last);
    void fileItem(QStandardItem* item);
    void forgetItem(QStandardItem* item);
    void followKeyChange(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);
    void forgetColumnZero(const QModelIndex& parent, int first, int last);
    void forgetAll();
    void refileAll();
    QStandardItem* itemOrRoot(const QModelIndex& index) const;

    QStandardItemModel* m_model;
    KeyOf m_keyOf;
    QList<int> m_keyRoles;
    Keys m_keys;
    QMultiHash<QString, QStandardItem*> m_itemsByKey;
    // The key each item was filed under, so that it can be forgotten or refiled
    // after its data has changed.
    QHash<const QStandardItem*, QString> m_keyOfItem;
};
