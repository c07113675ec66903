#pragma once

#include <QCoreApplication>
#include <QStandardItemModel>
#include <QString>
#include <QVariant>

class QObject;
class QStandardItem;
class WebPageTreeFilterSortModel;

// Keeps the installation's web pages for the views: a one-level tree whose single
// top item, the root, holds one child per page. The server owns the list; it
// arrives whole, in the list reply and in every change broadcast, and replaces
// what is shown. The operations are virtual so that a host or a test can hand the
// plug-in a controller of its own.
//
// Each item keeps the record it was made from (keys "id", "pageName", "url",
// "iconType") under webPageRole and, so that views and the proxy read single
// fields without unpacking a map per row, its fields under roles of their own.
// Published role names: "webPage", "pageId", "pageName", "url", "iconType".
// The root's record is {"id": "root", "pageName": "Web page" (translated), "url": ""}.
//
// Items are not editable through the model: a change goes to the server and
// comes back with the list.
class WebPageTreeModelController
{
    Q_DECLARE_TR_FUNCTIONS(WebPageTreeModelController)
public:
    enum Roles {
        webPageRole = Qt::UserRole + 1,
        pageIdRole,
        pageNameRole,
        urlRole,
        iconTypeRole,
    };

    WebPageTreeModelController();
    virtual ~WebPageTreeModelController();
    WebPageTreeModelController(const WebPageTreeModelController&) = delete;
    WebPageTreeModelController& operator=(const WebPageTreeModelController&) = delete;

    // For the list reply and the change broadcast: replaces the whole list with
    // the payload's and answers true, or answers false and changes nothing when
    // the payload is not a list (logged): wiping the list on a garbled
    // broadcast would hide every page until the next change. Elements that are
    // not maps are skipped; a field of the wrong type reads as its conversion
    // (an unreadable iconType is 0).
    bool replaceAllWebPages(const QVariant& payload);

    // Appends one page under the root.
    virtual void addWebPage(const QVariantMap& webPage);
    virtual void editWebPage(const QString& id, const QString& name, const QString& url, int iconType);
    virtual void removeWebPage(const QString& id);
    // Removes every page, then appends one page per element, in the order given.
    virtual void setAllWebPages(const QList<QVariant>& webPages);

    // Empty, or 0, for an unknown id.
    virtual QString queryWebPageName(const QString& id) const;
    virtual QString queryWebPageUrl(const QString& id) const;
    virtual int queryWebPageIconType(const QString& id) const;

    // A new proxy over this controller's model, owned by parent.
    virtual WebPageTreeFilterSortModel* getSortFilterModel(QObject* parent);

    // The records of all pages, in model order.
    virtual QVariantList getWebPageList() const;

private:
    void generateRootItem();
    QStandardItem* getRootItem() const;
    // The pages only, never the root; the first page with that id. The list is
    // short and replaced whole, so a look-up walks the root's children rather
    // than keeping an index in step.
    QStandardItem* findWebPageItem(const QString& id) const;
    QVariantMap findWebInfo(const QString& id) const;
    static QStandardItem* createItem(const QVariantMap& record);

    QStandardItemModel m_model;
};
