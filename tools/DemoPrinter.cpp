#include "DemoPrinter.h"

#include <QMetaMethod>

#include <functional>

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

// Takes any signal connected to it by index. It declares no methods of its own,
// so every index past QObject's reaches qt_metacall as the position of the
// signal in its list, with the signal's arguments as raw pointers.
class SignalRelay : public QObject
{
public:
    using Printer = std::function<void(const QMetaMethod&, const QVariantList&)>;

    SignalRelay(QObject& source, Printer print) : m_print(std::move(print))
    {
        const QMetaObject* meta = source.metaObject();
        for (int index = QObject::staticMetaObject.methodCount(); index < meta->methodCount(); ++index) {
            const QMetaMethod method = meta->method(index);
            if (method.methodType() != QMetaMethod::Signal)
                continue;
            QMetaObject::connect(&source, index, this, QObject::staticMetaObject.methodCount() + int(m_signals.size()),
                                 Qt::DirectConnection);
            m_signals.append(method);
        }
    }

    int qt_metacall(QMetaObject::Call call, int id, void** arguments) override
    {
        id = QObject::qt_metacall(call, id, arguments);
        if (id < 0 || call != QMetaObject::InvokeMetaMethod)
            return id;
        if (id < m_signals.size()) {
            const QMetaMethod& signal = m_signals.at(id);
            QVariantList values;
            for (int i = 0; i < signal.parameterCount(); ++i) {
                const QMetaType type = signal.parameterMetaType(i);
                values << (type == QMetaType::fromType<QVariant>() ? *static_cast<const QVariant*>(arguments[i + 1])
                                                                    : QVariant(type, arguments[i + 1]));
            }
            m_print(signal, values);
        }
        return -1;
    }

private:
    Printer m_print;
    QList<QMetaMethod> m_signals;
};
} // namespace

DemoPrinter::DemoPrinter(QTextStream& out) : m_out(out) {}

DemoPrinter::~DemoPrinter() = default;

int DemoPrinter::role(const QAbstractItemModel& model, const char* name) const
{
    return model.roleNames().key(QByteArray(name), -1);
}

void DemoPrinter::walk(const QAbstractItemModel& model, const QModelIndex& parent, int depth,
                       const std::function<void(const QModelIndex&, int)>& print)
{
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        print(index, depth);
        walk(model, index, depth + 1, print);
    }
}

QTextStream& DemoPrinter::indented(int depth)
{
    return m_out << QString(depth * 2, QLatin1Char(' '));
}

void DemoPrinter::printDeviceTree(const QAbstractItemModel& model)
{
    walk(model, QModelIndex(), 0, [&](const QModelIndex& index, int depth) {
        const int nodeType = index.data(role(model, "nodeTypeRole")).toInt();
        const QString name = index.data(role(model, "nameRole")).toString();
        const QString id = index.data(role(model, "idRole")).toString();
        const bool hasState = nodeType == 0 || nodeType == 1;
        const QString state = hasState
            ? (index.data(role(model, "connectedRole")).toBool() ? QStringLiteral("connected")
                                                                  : QStringLiteral("disconnected"))
            : QString();
        indented(depth) << '[' << kindName(nodeType) << "] " << name << "  ("
                        << (id.isEmpty() ? QStringLiteral("login station") : id) << ')';
        if (!state.isEmpty())
            m_out << "  " << state;
        m_out << '\n';
    });
}

void DemoPrinter::printSignalsOf(QObject& source, std::function<void(const QByteArray&)> printed)
{
    m_signalRelay = std::make_unique<SignalRelay>(source, [this, printed = std::move(printed)](
                                                              const QMetaMethod& signal, const QVariantList& values) {
        QStringList arguments;
        for (const QVariant& value : values)
            arguments << describe(value);
        m_out << "    " << signal.name() << '(' << arguments.join(QStringLiteral(", ")) << ")\n";
        m_out.flush();
        if (printed)
            printed(signal.name());
    });
}

void DemoPrinter::stopPrintingSignals()
{
    m_signalRelay.reset();
}

QString DemoPrinter::describe(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return QLatin1Char('"') + value.toString() + QLatin1Char('"');
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        QStringList items;
        for (const QVariant& item : value.toList())
            items << describe(item);
        return QLatin1Char('[') + items.join(QStringLiteral(", ")) + QLatin1Char(']');
    }
    case QMetaType::QVariantMap: {
        QStringList entries;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            entries << it.key() + QStringLiteral(": ") + describe(it.value());
        return QLatin1Char('{') + entries.join(QStringLiteral(", ")) + QLatin1Char('}');
    }
    default:
        return value.isValid() ? value.toString() : QStringLiteral("null");
    }
}

void DemoPrinter::printLogicalTree(const QAbstractItemModel& model)
{
    walk(model, QModelIndex(), 0,
         [&](const QModelIndex& index, int depth) { indented(depth) << describeLogicalRow(index) << '\n'; });
}

QString DemoPrinter::describeLogicalRow(const QModelIndex& index) const
{
    const QAbstractItemModel& model = *index.model();
    QString text = index.data(role(model, "nameRole")).toString();
    const QString icon = index.data(role(model, "displayIconRole")).toString();
    if (!icon.isEmpty())
        text += QStringLiteral("  [") + icon + QLatin1Char(']');
    const int type = index.data(role(model, "typeRole")).toInt();
    // Folders have no device state of their own.
    if (type != 0) {
        QStringList states;
        states << (index.data(role(model, "isConnectedRole")).toBool() ? QStringLiteral("connected")
                                                                        : QStringLiteral("disconnected"));
        if (index.data(role(model, "isRecordingRole")).toBool())
            states << QStringLiteral("recording");
        if (index.data(role(model, "takenOverRole")).toBool())
            states << QStringLiteral("taken over");
        text += QStringLiteral("  ") + states.join(QStringLiteral(", "));
    }
    return text;
}

void DemoPrinter::printWebPages(const QAbstractItemModel& model, int depth)
{
    walk(model, QModelIndex(), depth, [&](const QModelIndex& index, int depth) {
        indented(depth) << index.data(role(model, "pageName")).toString();
        // The root has no address of its own.
        const QString url = index.data(role(model, "url")).toString();
        if (!url.isEmpty())
            m_out << "  " << url << "  (icon " << index.data(role(model, "iconType")).toInt() << ')';
        m_out << '\n';
    });
}

QStringList DemoPrinter::printPlaylist(const QAbstractItemModel& model)
{
    // The logical tree's kind of a local database's camera; everything else is a folder.
    constexpr int cameraType = 4;
    QStringList cameraNodeIds;
    walk(model, QModelIndex(), 0, [&](const QModelIndex& index, int depth) {
        indented(depth) << index.data(role(model, "nameRole")).toString();
        if (index.data(role(model, "typeRole")).toInt() == cameraType) {
            const QString nodeId = index.data(role(model, "cameraNodeIDRole")).toString();
            m_out << "  (" << nodeId << ')';
            cameraNodeIds << nodeId;
        }
        m_out << '\n';
    });
    return cameraNodeIds;
}
