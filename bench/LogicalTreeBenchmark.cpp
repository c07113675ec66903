// Times the logical tree's look-ups and edits on generated trees against the
// same operations done by walking the tree: the base model's recursive match on
// a plain QStandardItemModel that holds the same items.
//
//   logical-tree-bench             trees of about 2,500, 10,000 and 40,000 nodes
//   logical-tree-bench N...        trees of about N nodes each

#include "LogicalTree.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QStandardItem>
#include <QStandardItemModel>
#include <QTextStream>

#include <functional>

namespace {

using Model = LogicalTreeModel;

constexpr int kOperations = 100;
constexpr int kGroupsPerFolder = 5;
constexpr int kCamerasPerGroup = 20;
// Every fourth camera has 2 DI and 1 DO.
constexpr int kNodesPerFolder = 1 + kGroupsPerFolder * (1 + kCamerasPerGroup + kCamerasPerGroup / 4 * 3);

QVariantMap serverNode(const QString& treeId, const QString& name, const QString& nodeUid,
                       const QVariantList& children = {})
{
    return {{"treeNodeId", treeId}, {"name", name}, {"nodeUID", nodeUid}, {"children", children}};
}

struct GeneratedTree
{
    int folders = 0;
    int cameras = 0;
};

GeneratedTree fill(LogicalTree& tree, int approximateNodes)
{
    GeneratedTree generated;
    generated.folders = qMax(1, approximateNodes / kNodesPerFolder);
    QVariantList folders;
    std::vector<QVariantMap> diDo;
    for (int f = 0; f < generated.folders; ++f) {
        QVariantList groups;
        for (int g = 0; g < kGroupsPerFolder; ++g) {
            QVariantList cameras;
            for (int c = 0; c < kCamerasPerGroup; ++c, ++generated.cameras) {
                const QString uid = QStringLiteral("C_%1").arg(generated.cameras);
                cameras << serverNode(QStringLiteral("T%1").arg(generated.cameras), QString(), uid);
                if (c % 4 == 0)
                    diDo.push_back({{"idRole", "S_1/" + uid}, {"diCountRole", 2}, {"doCountRole", 1}});
            }
            groups << serverNode(QStringLiteral("G%1_%2").arg(f).arg(g), QStringLiteral("Group %1").arg(g), QString(),
                                 cameras);
        }
        folders << serverNode(QStringLiteral("F%1").arg(f), QStringLiteral("Folder %1").arg(f), QString(), groups);
    }
    tree.createDefaultNodes();
    tree.set(serverNode("R", "Root", QString(), folders), "S_1");
    tree.insertCameraDiDoNodes(diDo);
    return generated;
}

void copyRows(const QAbstractItemModel& from, const QModelIndex& parent, QStandardItem* to)
{
    for (int row = 0; row < from.rowCount(parent); ++row) {
        const QModelIndex node = from.index(row, 0, parent);
        auto* item = new QStandardItem;
        const QMap<int, QVariant> values = from.itemData(node);
        for (auto value = values.cbegin(); value != values.cend(); ++value)
            item->setData(value.value(), value.key());
        copyRows(from, node, item);
        to->appendRow(item);
    }
}

// The same rules as the store, every look-up a walk of the tree.
class TreeWalk
{
public:
    explicit TreeWalk(QStandardItemModel& model) : m_model(model) {}

    QModelIndex nodeById(const QString& id) const
    {
        return m_model.match(m_model.index(0, 0), Model::idRole, id, 1, Qt::MatchExactly | Qt::MatchRecursive)
                .value(0);
    }
    bool existed(const QString& cameraId) const
    {
        return !m_model.match(m_model.index(0, 0), Model::cameraNodeIDRole, cameraId, -1,
                              Qt::MatchExactly | Qt::MatchRecursive).isEmpty();
    }
    void moveNodes(const QStringList& sourceIds, const QString& destinationId)
    {
        for (const QString& sourceId : sourceIds) {
            const QModelIndex source = nodeById(sourceId);
            const QPersistentModelIndex destination(nodeById(destinationId));
            bool valid = source.isValid() && destination.isValid() && sourceId != destinationId;
            for (QModelIndex up = destination.parent(); valid && up.isValid(); up = up.parent())
                valid = up != source;
            if (!valid)
                continue;
            QStandardItem* parent = source.parent().isValid() ? m_model.itemFromIndex(source.parent())
                                                              : m_model.invisibleRootItem();
            const QList<QStandardItem*> row = parent->takeRow(source.row());
            m_model.itemFromIndex(destination)->appendRow(row);
        }
    }
    void removeNodes(const QStringList& ids)
    {
        for (const QString& id : ids) {
            const QModelIndex node = nodeById(id);
            if (node.isValid())
                m_model.removeRow(node.row(), node.parent());
        }
    }

private:
    QStandardItemModel& m_model;
};

double millisecondsOf(const std::function<void()>& operation)
{
    QElapsedTimer clock;
    clock.start();
    operation();
    return clock.nsecsElapsed() / 1e6;
}

void measure(int approximateNodes, QTextStream& out)
{
    LogicalTree tree;
    GeneratedTree generated;
    const double buildMs = millisecondsOf([&] { generated = fill(tree, approximateNodes); });
    QStandardItemModel plain;
    copyRows(*tree.getModel(), QModelIndex(), plain.invisibleRootItem());
    TreeWalk walk(plain);
    int nodes = 0;
    std::function<void(const QModelIndex&)> count = [&](const QModelIndex& parent) {
        for (int row = 0; row < plain.rowCount(parent); ++row, ++nodes)
            count(plain.index(row, 0, parent));
    };
    count(QModelIndex());

    QRandomGenerator random(7);
    const auto pick = [&](const char* prefix, int bound) {
        QStringList ids;
        for (int i = 0; i < kOperations; ++i)
            ids << QLatin1String(prefix) + QString::number(random.bounded(bound));
        return ids;
    };
    const QStringList lookedUp = pick("T", generated.cameras);
    const QStringList cameras = pick("S_1/C_", generated.cameras);
    const QStringList moved = pick("T", generated.cameras);
    const QString destination = QStringLiteral("G%1_0").arg(generated.folders / 2);
    const QStringList removed = pick("T", generated.cameras);

    struct Row
    {
        QString operation;
        double indexedMs;
        double walkMs;
    };
    int sink = 0;
    const QList<Row> rows = {
            {QStringLiteral("100 look-ups by tree ID"),
             millisecondsOf([&] { for (const QString& id : lookedUp) sink += tree.data(id, Model::typeRole).toInt(); }),
             millisecondsOf([&] { for (const QString& id : lookedUp) sink += walk.nodeById(id).row(); })},
            {QStringLiteral("100 look-ups by camera ID"),
             millisecondsOf([&] { for (const QString& id : cameras) sink += tree.existed(id); }),
             millisecondsOf([&] { for (const QString& id : cameras) sink += walk.existed(id); })},
            {QStringLiteral("move of 100 nodes"), millisecondsOf([&] { tree.moveNodes(moved, destination); }),
             millisecondsOf([&] { walk.moveNodes(moved, destination); })},
            {QStringLiteral("removal of 100 nodes"), millisecondsOf([&] { tree.removeNodes(removed); }),
             millisecondsOf([&] { walk.removeNodes(removed); })},
    };
    out << QStringLiteral("%1 nodes (%2 cameras), built in %3 ms%4\n")
                   .arg(nodes)
                   .arg(generated.cameras)
                   .arg(buildMs, 0, 'f', 1)
                   .arg(sink < 0 ? QStringLiteral("!") : QString());
    for (const Row& row : rows)
        out << QStringLiteral("  %1 %2 %3 %4\n")
                       .arg(row.operation, -28)
                       .arg(row.indexedMs, 12, 'f', 2)
                       .arg(row.walkMs, 13, 'f', 2)
                       .arg(row.walkMs / qMax(0.001, row.indexedMs), 9, 'f', 1);
    out.flush();
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList sizes = app.arguments().mid(1);
    if (sizes.isEmpty())
        sizes = {QStringLiteral("2500"), QStringLiteral("10000"), QStringLiteral("40000")};
    QTextStream out(stdout);
    out << QStringLiteral("  %1 %2 %3 %4\n")
                   .arg(QStringLiteral("operation"), -28)
                   .arg(QStringLiteral("indexed ms"), 12)
                   .arg(QStringLiteral("tree walk ms"), 13)
                   .arg(QStringLiteral("ratio"), 9);
    for (const QString& size : sizes)
        measure(qMax(1, size.toInt()), out);
    return 0;
}
