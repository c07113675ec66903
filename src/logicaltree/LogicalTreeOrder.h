#pragma once

#include <QModelIndex>

// The order that the logical tree's sorted views share for two sibling rows of
// one kind: the special folders (cloud, local databases, removed cameras, in that
// order) first, DI/DO in the order of their ports, everything else by name
// ignoring case. Both rows are read through the logical tree's roles.
bool isBeforeSibling(const QModelIndex& left, const QModelIndex& right, int type);

// The kind of a logical tree row (typeRole), or -1 when it holds no number.
int logicalTypeOf(const QModelIndex& index);
