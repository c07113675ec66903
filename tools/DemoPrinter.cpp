#include "DemoPrinter.h"

namespace {
QString kindName(int nodeType)
{
    switch (nodeType) {
    case 0: return QStringLiteral("camera");
    case 1: return QStringLiteral("station");
    case 2: return QStringLiteral("removed camera");
    case 4: return QStringLiteral("removed cameras");
    default: return QStringLiteral("node");
    }
}
} // namespace

int DemoPrinter::role(const QAbstractItemModel& model, const char* name) const
{
    return model.roleNames().key(QByteArray(name), -1);
}

void DemoPrinter::printDeviceTree(const QAbstractItemModel& model)
{
    for (int row = 0; row < model.rowCount(); ++row)
        printNode(model, model.index(row, 0), 0);
}

void DemoPrinter::printNode(const QAbstractItemModel& model, const QModelIndex& index, int depth)
{
    const int nodeType = index.data(role(model, "nodeTypeRole")).toInt();
    const QString name = index.data(role(model, "nameRole")).toString();
    const QString id = index.data(role(model, "idRole")).toString();
    const bool hasState = nodeType == 0 || nodeType == 1;
    const QString state = hasState
        ? (index.data(role(model, "connectedRole")).toBool() ? QStringLiteral("connected")
                                                              : QStringLiteral("disconnected"))
        : QString();
    m_out << QString(depth * 2, QLatin1Char(' ')) << '[' << kindName(nodeType) << "] " << name << "  ("
          << (id.isEmpty() ? QStringLiteral("login station") : id) << ')';
    if (!state.isEmpty())
        m_out << "  " << state;
    m_out << '\n';
    for (int row = 0; row < model.rowCount(index); ++row)
        printNode(model, model.index(row, 0, index), depth + 1);
}
