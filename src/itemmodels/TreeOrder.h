#pragma once

#include <QModelIndex>

// Whether `first` comes before `second` in a depth-first, pre-order walk of their
// model (a node before its children, siblings by row). Both must belong to the
// same model; an invalid index comes after every valid one.
bool precedesInTreeOrder(const QModelIndex& first, const QModelIndex& second);
