#pragma once

#include <QAbstractItemModel>
#include <QTextStream>

#include <memory>

// Prints what the demo shows: a device model as an indented outline, one node
// per line (kind, display name, identifier and connection state), and the
// signals of an object as they are emitted.
class DemoPrinter
{
public:
    explicit DemoPrinter(QTextStream& out);
    ~DemoPrinter();

    void printDeviceTree(const QAbstractItemModel& model);
    // The logical tree as a view shows it: name, icon and the device's states.
    void printLogicalTree(const QAbstractItemModel& model);
    // One line for a logical row: its path of names, icon and states.
    QString describeLogicalRow(const QModelIndex& index) const;

    // From now on prints every signal that the object's own class (not QObject)
    // declares, with its arguments, when it is emitted. Only the meta-object is
    // used, so the object's class need not be known here.
    void printSignalsOf(QObject& source);
    void stopPrintingSignals();

    static QString describe(const QVariant& value);

private:
    void printNode(const QAbstractItemModel& model, const QModelIndex& index, int depth);
    void printLogicalNode(const QAbstractItemModel& model, const QModelIndex& index, int depth);
    int role(const QAbstractItemModel& model, const char* name) const;

    QTextStream& m_out;
    std::unique_ptr<QObject> m_signalRelay;
};
