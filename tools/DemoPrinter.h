#pragma once

#include <QAbstractItemModel>
#include <QTextStream>

#include <functional>
#include <memory>

// Prints what the demo shows: a device model as an indented outline, one node
// per line (kind, display name, identifier and connection state), the logical
// tree, the web pages and the standalone player's playlist as views show them,
// and the signals of an object as they are emitted.
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
    // The web page tree: the root, then each page's name, URL and icon type.
    void printWebPages(const QAbstractItemModel& model, int depth = 0);
    // The playlist's folders and cameras, each camera with its node id; answers
    // the cameras' node ids in the order shown.
    QStringList printPlaylist(const QAbstractItemModel& model);

    // From now on prints every signal that the object's own class (not QObject)
    // declares, with its arguments, when it is emitted. Only the meta-object is
    // used, so the object's class need not be known here. `printed` is called
    // with the signal's name after each one.
    void printSignalsOf(QObject& source, std::function<void(const QByteArray&)> printed = {});
    void stopPrintingSignals();

    static QString describe(const QVariant& value);

private:
    // Calls print for every row below parent, depth first, with the row's depth.
    static void walk(const QAbstractItemModel& model, const QModelIndex& parent, int depth,
                     const std::function<void(const QModelIndex&, int)>& print);
    QTextStream& indented(int depth);
    int role(const QAbstractItemModel& model, const char* name) const;

    QTextStream& m_out;
    std::unique_ptr<QObject> m_signalRelay;
};
