#pragma once

#include <QAbstractItemModel>
#include <QObject>
#include <QStringList>

// Records the structural and data notifications of a model as readable lines,
// so that a test can compare the whole sequence at once:
//   "inserted 0..2 under s1", "removed 1..1 under <root>", "changed 3 roles 284,304".
// Parents are named by the text under `nameRole` (the identifier role of the
// model under test), or "<root>".
class ModelNotificationRecorder : public QObject
{
    Q_OBJECT
public:
    ModelNotificationRecorder(QAbstractItemModel* model, int nameRole, QObject* parent = nullptr);

    QStringList lines() const { return m_lines; }
    void clear() { m_lines.clear(); }

private:
    QString nameOf(const QModelIndex& index) const;

    QAbstractItemModel* m_model;
    int m_nameRole;
    QStringList m_lines;
};
