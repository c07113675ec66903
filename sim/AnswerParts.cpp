#include "AnswerParts.h"

#include <QStringList>
#include <QVariantMap>

#include <algorithm>

namespace {

// The bounds of slice `part` of `count` items cut into `parts` slices.
qsizetype sliceStart(qsizetype count, int part, int parts)
{
    return count * part / parts;
}

QVariant slice(const QVariant& list, int part, int parts)
{
    if (list.typeId() == QMetaType::QStringList) {
        const QStringList items = list.toStringList();
        const qsizetype from = sliceStart(items.size(), part, parts);
        return items.mid(from, sliceStart(items.size(), part + 1, parts) - from);
    }
    const QVariantList items = list.toList();
    const qsizetype from = sliceStart(items.size(), part, parts);
    return items.mid(from, sliceStart(items.size(), part + 1, parts) - from);
}

bool isList(const QVariant& value)
{
    return value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
}

bool isMap(const QVariant& value)
{
    return value.typeId() == QMetaType::QVariantMap;
}

QVariantList byKeys(const QVariantMap& map, int parts)
{
    const QStringList keys = map.keys();
    QVariantList result;
    for (int part = 0; part < parts; ++part) {
        QVariantMap piece;
        for (qsizetype i = sliceStart(keys.size(), part, parts); i < sliceStart(keys.size(), part + 1, parts); ++i)
            piece.insert(keys.at(i), map.value(keys.at(i)));
        result.append(piece);
    }
    return result;
}

// The items of the map's lists, taken in key order as one run, are cut into
// consecutive runs, so that a reader that goes through the lists in key order
// meets the items in the same order as in the whole answer.
QVariantList byLists(const QVariantMap& map, int parts)
{
    qsizetype items = 0;
    for (const QVariant& value : map) {
        if (isList(value))
            items += value.typeId() == QMetaType::QStringList ? value.toStringList().size() : value.toList().size();
    }
    QVariantList result;
    for (int part = 0; part < parts; ++part) {
        const qsizetype from = sliceStart(items, part, parts);
        const qsizetype to = sliceStart(items, part + 1, parts);
        QVariantMap piece;
        qsizetype listStart = 0;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!isList(it.value())) {
                piece.insert(it.key(), it.value());
                continue;
            }
            const bool textList = it.value().typeId() == QMetaType::QStringList;
            const qsizetype length = textList ? it.value().toStringList().size() : it.value().toList().size();
            const qsizetype first = qBound(qsizetype(0), from - listStart, length);
            const qsizetype last = qBound(qsizetype(0), to - listStart, length);
            piece.insert(it.key(), textList ? QVariant(it.value().toStringList().mid(first, last - first))
                                            : QVariant(it.value().toList().mid(first, last - first)));
            listStart += length;
        }
        result.append(piece);
    }
    return result;
}

} // namespace

QVariantList AnswerParts::split(const QVariant& answer, int parts)
{
    if (parts <= 1)
        return {answer};
    if (isList(answer)) {
        QVariantList result;
        for (int part = 0; part < parts; ++part)
            result.append(slice(answer, part, parts));
        return result;
    }
    if (isMap(answer)) {
        const QVariantMap map = answer.toMap();
        const QVariantList values = map.values();
        if (!map.isEmpty() && std::all_of(values.cbegin(), values.cend(), isMap))
            return byKeys(map, parts);
        if (std::any_of(values.cbegin(), values.cend(), isList))
            return byLists(map, parts);
    }
    QVariantList result;
    for (int part = 1; part < parts; ++part)
        result.append(QVariant(answer.metaType()));
    result.append(answer);
    return result;
}
