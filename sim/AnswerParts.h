#pragma once

#include <QVariant>
#include <QVariantList>

// Cuts a server's answer into the parts in which it is delivered, when a
// scenario asks for answers in several parts (examples/README.md):
// - a list into consecutive slices, as even as they come;
// - a map whose values are all maps (keyed by station or camera) by its keys,
//   in key order, into consecutive runs;
// - a map that carries lists into parts that each hold every other key of the
//   map and a consecutive run of the lists' items, the lists taken one after
//   the other in key order (so a part may hold the end of one list and the
//   start of the next, and holds the lists it has no items of as empty lists);
// - anything else (text, a map of plain fields, nothing) into empty values of
//   its type followed by the whole answer as the last part.
// Joined again in order (lists joined, maps' keys united, the lists of one key
// joined), the parts give back the answer.
class AnswerParts
{
public:
    static QVariantList split(const QVariant& answer, int parts);
};
