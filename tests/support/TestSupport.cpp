#include "TestSupport.h"

ModelNotificationRecorder::ModelNotificationRecorder(QAbstractItemModel* model, int nameRole, QObject* parent)
    : QObject(parent), m_model(model), m_nameRole(nameRole)
{
    connect(model, &QAbstractItemModel::rowsAboutToBeInserted, this,
            [this](const QModelIndex& p, int first, int last) {
                m_lines << QStringLiteral("insert %1..%2 under %3").arg(first).arg(last).arg(nameOf(p));
            });
    connect(model, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex& p, int first, int last) {
                m_lines << QStringLiteral("inserted %1..%2 under %3").arg(first).arg(last).arg(nameOf(p));
            });
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex& p, int first, int last) {
                m_lines << QStringLiteral("remove %1..%2 under %3").arg(first).arg(last).arg(nameOf(p));
            });
    connect(model, &QAbstractItemModel::rowsRemoved, this,
            [this](const QModelIndex& p, int first, int last) {
                m_lines << QStringLiteral("removed %1..%2 under %3").arg(first).arg(last).arg(nameOf(p));
            });
    connect(model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles) {
                QStringList roleTexts;
                for (int role : roles)
                    roleTexts << QString::number(role);
                const QString range = topLeft == bottomRight
                    ? nameOf(topLeft)
                    : nameOf(topLeft) + QStringLiteral("..") + nameOf(bottomRight);
                m_lines << QStringLiteral("changed %1 roles %2").arg(range, roleTexts.join(QLatin1Char(',')));
            });
    connect(model, &QAbstractItemModel::modelReset, this, [this] { m_lines << QStringLiteral("reset"); });
    connect(model, &QAbstractItemModel::layoutChanged, this, [this] { m_lines << QStringLiteral("layout"); });
}

QString ModelNotificationRecorder::nameOf(const QModelIndex& index) const
{
    if (!index.isValid())
        return QStringLiteral("<root>");
    return index.data(m_nameRole).toString();
}
