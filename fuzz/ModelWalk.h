#pragma once

#include <QAbstractItemModel>
#include <QVariant>

#include <cstdio>
#include <cstdlib>
#include <vector>

// Reads every index of a model as a view would (row and column counts, every
// published role, the display role) and checks the parent links that views rely
// on. A model that contradicts itself aborts the run, which the fuzzer reports.
namespace ModelWalk {

inline void fail(const QAbstractItemModel* model, const char* what)
{
    std::fprintf(stderr, "model %s: %s\n", model->metaObject()->className(), what);
    std::abort();
}

inline void walk(const QAbstractItemModel* model)
{
    QList<int> roles = model->roleNames().keys();
    roles.append(Qt::DisplayRole);
    std::vector<QModelIndex> open{QModelIndex()};
    int visited = 0;
    while (!open.empty() && visited < 200000) {
        const QModelIndex parent = open.back();
        open.pop_back();
        const int rows = model->rowCount(parent);
        const int columns = model->columnCount(parent);
        if (rows < 0 || columns < 0)
            fail(model, "negative row or column count");
        if (rows > 0 && !model->hasChildren(parent))
            fail(model, "rows under a parent without children");
        for (int row = 0; row < rows; ++row, ++visited) {
            for (int column = 0; column < columns; ++column) {
                const QModelIndex index = model->index(row, column, parent);
                if (!index.isValid() || index.model() != model || index.row() != row || index.column() != column)
                    fail(model, "index() gave an index that is not the one asked for");
                if (model->parent(index) != parent)
                    fail(model, "parent() of a child is not the parent it came from");
                for (int role : roles)
                    model->data(index, role);
            }
            const QModelIndex first = model->index(row, 0, parent);
            if (model->hasChildren(first))
                open.push_back(first);
        }
    }
}

inline void walkAll(const std::vector<QAbstractItemModel*>& models)
{
    for (const QAbstractItemModel* model : models)
        walk(model);
}

} // namespace ModelWalk
