#include "WebPageTreeModelController.h"

#include "ModuleLog.h"
#include "PayloadFields.h"
#include "WebPageTreeFilterSortModel.h"

#include <QStandardItem>

namespace {
const QString kIdKey = QStringLiteral("id");
const QString kPageNameKey = QStringLiteral("pageName");
const QString kUrlKey = QStringLiteral("url");
const QString kIconTypeKey = QStringLiteral("iconType");

using PayloadFields::isMap;
} // namespace

WebPageTreeModelController::WebPageTreeModelController()
{
    m_model.setItemRoleNames({
        {webPageRole, QByteArrayLiteral("webPage")},
        {pageIdRole, QByteArrayLiteral("pageId")},
        {pageNameRole, QByteArrayLiteral("pageName")},
        {urlRole, QByteArrayLiteral("url")},
        {iconTypeRole, QByteArrayLiteral("iconType")},
    });
    generateRootItem();
}

WebPageTreeModelController::~WebPageTreeModelController() = default;

bool WebPageTreeModelController::replaceAllWebPages(const QVariant& payload)
{
    if (payload.typeId() != QMetaType::QVariantList) {
        TOPOLOGY_LOG_ERROR("%s, web page list is not a list", "WebPageTreeModelController::replaceAllWebPages");
        return false;
    }
    setAllWebPages(PayloadFields::list(payload));
    return true;
}

void WebPageTreeModelController::addWebPage(const QVariantMap& webPage)
{
    getRootItem()->appendRow(createItem(webPage));
}

void WebPageTreeModelController::editWebPage(const QString& id, const QString& name, const QString& url,
                                             int iconType)
{
    QStandardItem* item = findWebPageItem(id);
    if (!item)
        return;
    QVariantMap record = item->data(webPageRole).toMap();
    record.insert(kPageNameKey, name);
    record.insert(kUrlKey, url);
    record.insert(kIconTypeKey, iconType);
    // One change for the view, naming only the fields an edit can touch.
    m_model.setItemData(item->index(), {{webPageRole, record},
                                        {pageNameRole, name},
                                        {urlRole, url},
                                        {iconTypeRole, iconType}});
}

void WebPageTreeModelController::removeWebPage(const QString& id)
{
    if (QStandardItem* item = findWebPageItem(id))
        getRootItem()->removeRow(item->row());
}

void WebPageTreeModelController::setAllWebPages(const QList<QVariant>& webPages)
{
    QStandardItem* root = getRootItem();
    if (root->rowCount() > 0)
        root->removeRows(0, root->rowCount());

    QList<QStandardItem*> items;
    items.reserve(webPages.size());
    for (const QVariant& webPage : webPages) {
        if (isMap(webPage))
            items.append(createItem(webPage.toMap()));
    }
    if (!items.isEmpty())
        root->appendRows(items);
}

QString WebPageTreeModelController::queryWebPageName(const QString& id) const
{
    return PayloadFields::text(findWebInfo(id).value(kPageNameKey));
}

QString WebPageTreeModelController::queryWebPageUrl(const QString& id) const
{
    return PayloadFields::text(findWebInfo(id).value(kUrlKey));
}

int WebPageTreeModelController::queryWebPageIconType(const QString& id) const
{
    return findWebInfo(id).value(kIconTypeKey).toInt();
}

WebPageTreeFilterSortModel* WebPageTreeModelController::getSortFilterModel(QObject* parent)
{
    auto* proxy = new WebPageTreeFilterSortModel(parent);
    proxy->setSourceModel(&m_model);
    return proxy;
}

QVariantList WebPageTreeModelController::getWebPageList() const
{
    QVariantList records;
    const QStandardItem* root = getRootItem();
    records.reserve(root->rowCount());
    for (int row = 0; row < root->rowCount(); ++row)
        records.append(root->child(row)->data(webPageRole));
    return records;
}

void WebPageTreeModelController::generateRootItem()
{
    QStandardItem* root = createItem({{kIdKey, QStringLiteral("root")}, {kPageNameKey, tr("Web page")},
                                      {kUrlKey, QString()}});
    // Without a column of its own, the first pages would make the root insert one
    // in the middle of their row insertion, a notification nested in another.
    root->setColumnCount(1);
    m_model.appendRow(root);
}

QStandardItem* WebPageTreeModelController::getRootItem() const
{
    return m_model.item(0);
}

QStandardItem* WebPageTreeModelController::findWebPageItem(const QString& id) const
{
    const QStandardItem* root = getRootItem();
    for (int row = 0; row < root->rowCount(); ++row) {
        QStandardItem* page = root->child(row);
        if (page->data(pageIdRole).toString() == id)
            return page;
    }
    return nullptr;
}

QVariantMap WebPageTreeModelController::findWebInfo(const QString& id) const
{
    const QStandardItem* page = findWebPageItem(id);
    return page ? page->data(webPageRole).toMap() : QVariantMap();
}

QStandardItem* WebPageTreeModelController::createItem(const QVariantMap& record)
{
    auto* item = new QStandardItem;
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    item->setData(record, webPageRole);
    item->setData(PayloadFields::text(record.value(kIdKey)), pageIdRole);
    item->setData(PayloadFields::text(record.value(kPageNameKey)), pageNameRole);
    item->setData(PayloadFields::text(record.value(kUrlKey)), urlRole);
    item->setData(record.value(kIconTypeKey).toInt(), iconTypeRole);
    return item;
}
