#include "IdentifierIndex.h"

#include "TreeOrder.h"
#include "TreeWalk.h"

#include <QSet>
#include <QStandardItemModel>

#include <algorithm>
#include <utility>

IdentifierIndex::IdentifierIndex(QStandardItemModel* model, int keyRole, Keys keys, QObject* parent)
    : IdentifierIndex(
            model, [keyRole](const QStandardItem& item) { return std::optional<QString>(item.data(keyRole).toString()); },
            {keyRole}, keys, parent)
{
}

IdentifierIndex::IdentifierIndex(QStandardItemModel* model, KeyOf keyOf, const QList<int>& keyRoles, Keys keys,
                                 QObject* parent)
    : QObject(parent), m_model(model), m_keyOf(std::move(keyOf)), m_keyRoles(keyRoles), m_keys(keys)
{
    connectToModel();
    refileAll();
}

void IdentifierIndex::connectToModel()
{
    // An owner that makes the index before anyone else can listen has it
    // complete when the other listeners of rowsInserted run, and emptied while
    // the rows still exist.
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &IdentifierIndex::fileRows);
    connect(m_model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &IdentifierIndex::forgetRows);
    connect(m_model, &QAbstractItemModel::dataChanged, this, &IdentifierIndex::followKeyChange);
    connect(m_model, &QAbstractItemModel::columnsAboutToBeRemoved, this, &IdentifierIndex::forgetColumnZero);
    connect(m_model, &QAbstractItemModel::modelAboutToBeReset, this, &IdentifierIndex::forgetAll);
    connect(m_model, &QAbstractItemModel::modelReset, this, &IdentifierIndex::refileAll);
    // An item replaced in place is deleted between layoutAboutToBeChanged and
    // layoutChanged, unannounced.
    connect(m_model, &QAbstractItemModel::layoutChanged, this, &IdentifierIndex::refileAll);
    connect(m_model, &QObject::destroyed, this, [this] {
        forgetAll();
        m_model = nullptr;
    });
}

QStandardItem* IdentifierIndex::first(const QString& key) const
{
    auto found = m_itemsByKey.constFind(key);
    if (found == m_itemsByKey.cend())
        return nullptr;
    QStandardItem* earliest = *found;
    // Shared keys are rare; only then is the order of the candidates worked out.
    for (++found; found != m_itemsByKey.cend() && found.key() == key; ++found) {
        if (precedesInTreeOrder((*found)->index(), earliest->index()))
            earliest = *found;
    }
    return earliest;
}

QList<QStandardItem*> IdentifierIndex::items(const QString& key) const
{
    return m_itemsByKey.values(key);
}

bool IdentifierIndex::isFiledWithin(const QString& key, const QModelIndex& parent, int first, int last) const
{
    if (!m_model)
        return false;
    const QStandardItem* parentItem = itemOrRoot(parent);
    for (auto found = m_itemsByKey.constFind(key); found != m_itemsByKey.cend() && found.key() == key; ++found) {
        for (const QStandardItem* item = *found; item; item = item->parent()) {
            // A top-level item has no parent item although the invisible root holds it.
            const QStandardItem* holder = item->parent() ? item->parent() : m_model->invisibleRootItem();
            if (holder == parentItem) {
                if (item->row() >= first && item->row() <= last)
                    return true;
                break;
            }
        }
    }
    return false;
}

QStringList IdentifierIndex::faults() const
{
    QStringList faults;
    if (!m_model)
        return faults;
    QSet<QString> seen;
    qsizetype keyed = 0;
    TreeWalk::forEachItem(m_model->invisibleRootItem(), 0, m_model->rowCount() - 1, [&](QStandardItem* item) {
        const std::optional<QString> key = m_keyOf(*item);
        if (!key) {
            if (m_keyOfItem.contains(item))
                faults << QStringLiteral("an item without a key is filed under \"%1\"").arg(m_keyOfItem.value(item));
            return;
        }
        ++keyed;
        if (m_keys == Keys::Unique && seen.contains(*key))
            faults << QStringLiteral("two items share the key \"%1\"").arg(*key);
        seen.insert(*key);
        if (!m_itemsByKey.contains(*key, item))
            faults << QStringLiteral("\"%1\" does not find its item").arg(*key);
        const auto filed = m_keyOfItem.constFind(item);
        if (filed != m_keyOfItem.cend() && *filed != *key)
            faults << QStringLiteral("the item \"%1\" is filed under \"%2\"").arg(*key, *filed);
    });
    if (m_keyOfItem.size() != keyed || m_itemsByKey.size() != keyed)
        faults << QStringLiteral("%1 items filed for %2 in the tree").arg(m_itemsByKey.size()).arg(keyed);
    return faults;
}

void IdentifierIndex::fileRows(const QModelIndex& parent, int first, int last)
{
    TreeWalk::forEachItem(itemOrRoot(parent), first, last, [this](QStandardItem* item) { fileItem(item); });
}

void IdentifierIndex::forgetRows(const QModelIndex& parent, int first, int last)
{
    TreeWalk::forEachItem(itemOrRoot(parent), first, last, [this](QStandardItem* item) { forgetItem(item); });
}

void IdentifierIndex::fileItem(QStandardItem* item)
{
    const std::optional<QString> key = m_keyOf(*item);
    if (!key)
        return;
    m_itemsByKey.insert(*key, item);
    m_keyOfItem.insert(item, *key);
}

void IdentifierIndex::forgetItem(QStandardItem* item)
{
    const auto filed = m_keyOfItem.constFind(item);
    if (filed == m_keyOfItem.cend())
        return;
    m_itemsByKey.remove(*filed, item);
    m_keyOfItem.erase(filed);
}

void IdentifierIndex::followKeyChange(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                      const QList<int>& roles)
{
    if (!topLeft.isValid() || topLeft.column() > 0)
        return;
    if (!roles.isEmpty() && std::none_of(m_keyRoles.cbegin(), m_keyRoles.cend(), [&roles](int role) {
            return roles.contains(role);
        }))
        return;
    const QStandardItem* parent = itemOrRoot(topLeft.parent());
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        QStandardItem* item = parent->child(row);
        if (!item)
            continue;
        forgetItem(item);
        fileItem(item);
    }
}

void IdentifierIndex::forgetColumnZero(const QModelIndex& parent, int first, int last)
{
    // The items live in column 0; removing it deletes them without a row removal.
    if (first == 0 && last >= 0)
        forgetRows(parent, 0, m_model->rowCount(parent) - 1);
}

void IdentifierIndex::forgetAll()
{
    m_itemsByKey.clear();
    m_keyOfItem.clear();
}

void IdentifierIndex::refileAll()
{
    forgetAll();
    if (m_model)
        fileRows(QModelIndex(), 0, m_model->rowCount() - 1);
}

QStandardItem* IdentifierIndex::itemOrRoot(const QModelIndex& index) const
{
    return index.isValid() ? m_model->itemFromIndex(index) : m_model->invisibleRootItem();
}
