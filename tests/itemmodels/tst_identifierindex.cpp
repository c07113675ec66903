#include "IdentifierIndex.h"

#include <QAbstractItemModelTester>
#include <QStandardItemModel>
#include <QtTest>

#include <memory>

namespace {

constexpr int kIdRole = Qt::UserRole + 1;
constexpr int kKindRole = Qt::UserRole + 2;
constexpr int kFolder = 1;
using Keys = IdentifierIndex::Keys;

QStandardItem* node(const QString& id, int kind = 0)
{
    auto* item = new QStandardItem(id);
    item->setData(id, kIdRole);
    item->setData(kind, kKindRole);
    return item;
}

// A station with three cameras, built before it enters the model.
QStandardItem* stationWithCameras(const QString& stationId)
{
    QStandardItem* station = node(stationId);
    for (int channel = 1; channel <= 3; ++channel)
        station->appendRow(node(stationId + QStringLiteral("/C_%1").arg(channel)));
    return station;
}

// Every key from the list whose look-up answers an item that carries it.
QStringList findable(const IdentifierIndex& index, const QStringList& keys)
{
    QStringList found;
    for (const QString& key : keys) {
        const QStandardItem* item = index.first(key);
        if (item && item->data(kIdRole).toString() == key)
            found << key;
    }
    return found;
}

const QStringList kStationAndCameras = {"S1", "S1/C_1", "S1/C_2", "S1/C_3"};

} // namespace

class TestIdentifierIndex : public QObject
{
    Q_OBJECT

private slots:
    void completeWhenRowsAreAnnounced();
    void followsRowsKeysLayoutsAndResets();
    void sharedKeysAndFaults();
    void keyFunctionAndSubtreeChecks();
};

void TestIdentifierIndex::completeWhenRowsAreAnnounced()
{
    // given: the index is made before anyone else listens
    QStandardItemModel model;
    const IdentifierIndex index(&model, kIdRole, Keys::Unique);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QStringList whenInserted, whenAboutToBeRemoved;
    connect(&model, &QAbstractItemModel::rowsInserted, this, [&] { whenInserted = findable(index, kStationAndCameras); });
    connect(&model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [&] { whenAboutToBeRemoved = findable(index, kStationAndCameras); });
    // when a subtree goes in as one block, then every node of it is findable when it is announced
    model.appendRow(stationWithCameras("S1"));
    QCOMPARE(whenInserted, kStationAndCameras);
    // when it goes, then it is forgotten before the others hear of it, and the rest is found at its new row
    model.appendRow(node("S2"));
    model.removeRow(0);
    QCOMPARE(whenAboutToBeRemoved, QStringList());
    QCOMPARE(index.first("S2")->row(), 0);
    QCOMPARE(index.faults(), QStringList());
}

void TestIdentifierIndex::followsRowsKeysLayoutsAndResets()
{
    // given: a station entering without an identifier, named later
    QStandardItemModel model;
    IdentifierIndex index(&model, kIdRole, Keys::Unique);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QStandardItem* station = stationWithCameras(QString());
    model.appendRow(station);
    QCOMPARE(index.first(QString()), station);
    // when a camera goes in front of the others and the first one is taken out
    station->insertRow(0, node("/C_9"));
    station->removeRow(1);
    // then the look-up follows the rows that moved
    QVERIFY(!index.contains("/C_1"));
    QCOMPARE(index.first("/C_9")->row(), 0);
    QCOMPARE(index.first("/C_3")->row(), 2);

    // when the key is set, alone and together with other roles, then it is refiled
    model.setData(station->index(), QStringLiteral("S1"), kIdRole);
    QVERIFY(index.contains("S1") && !index.contains(QString()));
    QVERIFY(model.setItemData(station->index(), {{kIdRole, QStringLiteral("S1b")}, {Qt::DisplayRole, "Main"}}));
    QVERIFY(index.contains("S1b") && !index.contains("S1"));
    // when other roles change, the index is left alone
    model.setData(station->index(), QStringLiteral("S1"), kKindRole);
    QCOMPARE(findable(index, {"S1b", "S1"}), QStringList({"S1b"}));

    // when the tree is sorted, an item replaced in place and column 0 of a parent removed
    model.appendRow(stationWithCameras("S2"));
    model.sort(0, Qt::DescendingOrder);
    QCOMPARE(index.first("S2")->row(), 0);
    model.item(0)->setChild(1, node("S2/C_7"));
    QVERIFY(index.contains("S2/C_7") && !index.contains("S2/C_2"));
    model.removeColumn(0, station->index());
    QVERIFY(!index.contains("/C_3"));
    QCOMPARE(index.faults(), QStringList());

    // when the model is cleared, then nothing is found, and it files again afterwards
    model.clear();
    QCOMPARE(findable(index, {"S1b", "S2", "S2/C_1"}), QStringList());
    model.appendRow(stationWithCameras("S1"));
    QCOMPARE(findable(index, kStationAndCameras), kStationAndCameras);
    QCOMPARE(index.faults(), QStringList());
}

void TestIdentifierIndex::sharedKeysAndFaults()
{
    // given: three nodes with one identifier
    QStandardItemModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    for (const char* name : {"first", "second", "third"}) {
        model.appendRow(node("dup"));
        model.item(model.rowCount() - 1)->setText(name);
    }
    const IdentifierIndex unique(&model, kIdRole, Keys::Unique);
    const IdentifierIndex shared(&model, kIdRole, Keys::Shared);
    // then every one is filed, the first in tree order answers, and only unique keys count it as a fault
    QCOMPARE(shared.items("dup").size(), 3);
    QCOMPARE(shared.first("dup")->text(), "first");
    const QString twice = "two items share the key \"dup\"";
    QCOMPARE(unique.faults(), QStringList({twice, twice}));
    QCOMPARE(shared.faults(), QStringList());
    // when the first one is renamed and the second goes, then the third is still found
    model.setData(model.index(0, 0), QStringLiteral("renamed"), kIdRole);
    model.removeRow(1);
    QCOMPARE(shared.first("dup")->text(), "third");
    QCOMPARE(shared.first("renamed")->text(), "first");
    QCOMPARE(unique.faults(), QStringList());

    // when the tree changes behind the index's back, then the check names it
    model.blockSignals(true);
    model.item(0)->setData(QStringLiteral("quiet"), kIdRole);
    model.appendRow(node("unseen"));
    model.blockSignals(false);
    QCOMPARE(shared.faults(), QStringList({"\"quiet\" does not find its item",
                                           "the item \"quiet\" is filed under \"renamed\"",
                                           "\"unseen\" does not find its item", "2 items filed for 3 in the tree"}));
}

void TestIdentifierIndex::keyFunctionAndSubtreeChecks()
{
    // given: an index of everything but folders, by the text of their display role
    QStandardItemModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    auto index = std::make_unique<IdentifierIndex>(
            &model,
            [](const QStandardItem& item) {
                return item.data(kKindRole).toInt() == kFolder ? std::nullopt : std::optional(item.text());
            },
            QList<int>{Qt::DisplayRole, kKindRole}, Keys::Shared);
    QStandardItem* folder = node("F", kFolder);
    folder->appendRow(stationWithCameras("S1"));
    model.appendRow(folder);
    model.appendRow(node("S2"));
    // then folders are not filed, and nodes are found by the key the function reads
    QVERIFY(!index->contains("F"));
    QCOMPARE(index->first("S1/C_2"), folder->child(0)->child(1));
    // when a folder becomes a camera and a camera a folder, then both are refiled
    folder->setData(0, kKindRole);
    folder->child(0)->setData(kFolder, kKindRole);
    QVERIFY(index->contains("F") && !index->contains("S1"));
    QCOMPARE(index->faults(), QStringList());

    // then a key is known to lie within rows of a parent whether it is one of them or below one
    const QModelIndex root;
    QVERIFY(index->isFiledWithin("F", root, 0, 0));
    QVERIFY(index->isFiledWithin("S1/C_3", root, 0, 0));
    QVERIFY(index->isFiledWithin("S1/C_3", folder->child(0)->index(), 2, 2));
    QVERIFY(!index->isFiledWithin("S1/C_3", folder->child(0)->index(), 0, 1));
    QVERIFY(!index->isFiledWithin("S1/C_3", root, 1, 1));
    QVERIFY(!index->isFiledWithin("nothing", root, 0, 0));

    // when the model goes before the index, then the index answers nothing
    auto owned = std::make_unique<QStandardItemModel>();
    IdentifierIndex orphan(owned.get(), kIdRole, Keys::Unique);
    {
        QAbstractItemModelTester ownedTester(owned.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        owned->appendRow(node("S1"));
    }
    owned.reset();
    QVERIFY(!orphan.first("S1"));
    QVERIFY(!orphan.isFiledWithin("S1", root, 0, 0));
}

QTEST_MAIN(TestIdentifierIndex)
#include "tst_identifierindex.moc"
