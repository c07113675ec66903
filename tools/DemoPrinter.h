#pragma once

#include <QAbstractItemModel>
#include <QTextStream>

// Prints a device model as an indented outline, one node per line: kind,
// display name, identifier and connection state.
class DemoPrinter
{
public:
    explicit DemoPrinter(QTextStream& out) : m_out(out) {}

    void printDeviceTree(const QAbstractItemModel& model);

private:
    void printNode(const QAbstractItemModel& model, const QModelIndex& index, int depth);
    int role(const QAbstractItemModel& model, const char* name) const;

    QTextStream& m_out;
};
