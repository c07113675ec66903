#include "TopologyQml.h"

#include <QAbstractProxyModel>
#include <QMetaObject>
#include <QQmlContext>
#include <QQmlEngine>

namespace {

QAbstractItemModel* modelFrom(QObject* plugin, const char* getter)
{
    QAbstractItemModel* model = nullptr;
    QMetaObject::invokeMethod(plugin, getter, Qt::DirectConnection, Q_RETURN_ARG(QAbstractItemModel*, model));
    return model;
}

// The getters hand out views, which may sit over the model class that declares
// the enumeration; the chain of proxies is followed down to it.
const QMetaObject* declaringClass(QAbstractItemModel* model, const char* enumeration)
{
    while (model) {
        if (model->metaObject()->indexOfEnumerator(enumeration) >= 0)
            return model->metaObject();
        const auto* proxy = qobject_cast<QAbstractProxyModel*>(model);
        model = proxy ? proxy->sourceModel() : nullptr;
    }
    return nullptr;
}

} // namespace

bool TopologyQml::registerTypes(QObject* plugin, QQmlContext* context)
{
    if (!plugin)
        return false;
    const QMetaObject* device = declaringClass(modelFrom(plugin, "getStandardTopologyModel"), "NodeType");
    const QMetaObject* logical = declaringClass(modelFrom(plugin, "getLogicalTreeModel"), "LogicalTreeTypes");
    if (!device || device->indexOfEnumerator("CameraType") < 0 || !logical)
        return false;
    static const QString reason = QStringLiteral("only enumerations; the models come from the plug-in's getters");
    qmlRegisterUncreatableMetaObject(*device, kUri, 1, 0, "DeviceNode", reason);
    qmlRegisterUncreatableMetaObject(*logical, kUri, 1, 0, "LogicalNode", reason);
    if (context)
        context->setContextProperty(QString::fromLatin1(kContextProperty), plugin);
    return true;
}
