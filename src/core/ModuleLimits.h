#pragma once

// How much of an absurd input the module takes. Servers and hosts can send
// anything: a tree a hundred thousand levels deep, a name of fifty megabytes.
// Qt's own item code recurses once per level (deleting a QStandardItem,
// inserting a subtree, a sort/filter proxy's mappings), and a Windows thread has
// a 1 MiB stack; a log line is read by people and by tools that split on line
// ends. So every input is held to the bounds below: what lies beyond them is
// dropped, the input that carried it is named in one log line (InputLimits),
// and the rest of it is taken as usual.
namespace ModuleLimits {

// The deepest level a node of the device tree or of the logical tree may sit
// at; a top-level node is at level 1. A node that would lie deeper is not made,
// and nothing below it is: in the device tree that cuts the chain of stations
// (the login station is level 1), in the logical tree folders and everything
// in them. An edit that would move or create anything deeper is refused. Deep
// enough for any real installation, shallow enough for Qt's recursion on a
// 1 MiB stack.
constexpr int kMaxTreeDepth = 64;

// The deepest the module looks into a payload value made of maps and lists
// inside one another (the value itself is level 1), and the deepest it keeps
// one: a map or list further down is left out of the copy it keeps, and a walk
// over such data (a chain of stations in a whole-topology answer, a filter map
// reaching into a field) stops there. A logical tree payload counts its levels
// as the tree does: a node and the list of its children make one level.
constexpr int kMaxPayloadNesting = 64;

// The longest text the module reads from a payload, in UTF-16 code units;
// a longer one reads as empty.
constexpr int kMaxPayloadTextLength = 65536;

// The longest a text argument of a log line is written, in characters after
// escaping; the rest is replaced by a note of how many characters were left out.
constexpr int kMaxLoggedTextLength = 256;

// The longest log line the module writes, in bytes.
constexpr int kMaxLogLineBytes = 2048;

} // namespace ModuleLimits
