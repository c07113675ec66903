#pragma once

#include <QModelIndex>

#include <functional>

class QSortFilterProxyModel;

// Tells a sort/filter proxy whose rows show because of their relatives (a folder
// shows while one of its children does) whether a change left some row shown or
// hidden wrongly. Qt re-checks only the rows a change names, and their ancestors
// only when the change names the filter role, so a proxy asks this after each
// change and filters again only when the answer is yes.
//
// A row's own verdict comes from the proxy; a row that depends on its children is
// accepted when one of them is. Walks keep their own stack: trees may be deeper
// than a thread's stack could follow by recursion.
class RecursiveFilterCheck
{
public:
    enum class Verdict { Rejected, Accepted, DependsOnChildren };
    using OwnVerdict = std::function<Verdict(const QModelIndex& sourceNode)>;

    RecursiveFilterCheck(const QSortFilterProxyModel& proxy, OwnVerdict ownVerdict);

    // Whether the row and all its ancestors show. Qt maps a row below a hidden
    // parent as if the parent were shown, so one mapping alone does not say.
    bool isShown(const QModelIndex& sourceNode) const;
    bool acceptsWithDescendants(const QModelIndex& sourceNode) const;
    // Whether an ancestor of rows first..last under sourceParent, just changed
    // or inserted, now shows or hides when it should not. With first > last it
    // asks for the place rows were removed from.
    bool ancestorsAreStale(const QModelIndex& sourceParent, int first, int last) const;
    // Whether a row anywhere below a shown row shows or hides when it should not.
    bool descendantsAreStale(const QModelIndex& sourceNode) const;

private:
    bool anyRowAccepted(const QModelIndex& sourceParent, bool parentShown, int first, int last) const;

    const QSortFilterProxyModel& m_proxy;
    OwnVerdict m_ownVerdict;
};
