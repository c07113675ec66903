#include "ReplyParts.h"

#include "PayloadFields.h"

namespace {

bool isEmptyPart(const QVariant& part)
{
    switch (part.typeId()) {
    case QMetaType::UnknownType: return true;
    case QMetaType::QVariantList: return part.toList().isEmpty();
    case QMetaType::QVariantMap: return part.toMap().isEmpty();
    case QMetaType::QStringList: return part.toStringList().isEmpty();
    case QMetaType::QString: return part.toString().isEmpty();
    default: return false;
    }
}

bool isList(const QVariant& value)
{
    return value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
}

QVariant joinedLists(const QVariant& earlier, const QVariant& later)
{
    if (earlier.typeId() == QMetaType::QStringList && later.typeId() == QMetaType::QStringList)
        return earlier.toStringList() + later.toStringList();
    return earlier.toList() + later.toList();
}

} // namespace

ReplyParts::Part ReplyParts::take(const QString& command, const void* context, const QVariant& data, bool completed,
                                  bool gather)
{
    const Key key{command, quintptr(context)};
    const auto open = m_open.find(key);
    const bool first = open == m_open.end();
    QVariant gathered = data;
    if (!first) {
        if (gather)
            gathered = merged(open.value(), data);
        m_open.erase(open);
    }
    // Kept until the last part, so no deeper than the module keeps anything.
    if (!completed)
        m_open.insert(key, gather ? PayloadFields::withinNesting(gathered) : QVariant());
    return {{first, completed}, gather ? gathered : data};
}

void ReplyParts::clear()
{
    m_open.clear();
}

// One level deep on purpose: the parts of a reply split its top-level lists and
// keys, and a nested walk would let a hostile reply exhaust the stack.
QVariant ReplyParts::merged(const QVariant& earlier, const QVariant& later)
{
    if (isEmptyPart(earlier))
        return later;
    if (isEmptyPart(later))
        return earlier;
    if (isList(earlier) && isList(later))
        return joinedLists(earlier, later);
    if (earlier.typeId() != QMetaType::QVariantMap || later.typeId() != QMetaType::QVariantMap)
        return later;

    QVariantMap whole = earlier.toMap();
    const QVariantMap added = later.toMap();
    for (auto it = added.cbegin(); it != added.cend(); ++it) {
        const auto known = whole.find(it.key());
        if (known != whole.end() && isList(known.value()) && isList(it.value()))
            known.value() = joinedLists(known.value(), it.value());
        else
            whole.insert(it.key(), it.value());
    }
    return whole;
}
