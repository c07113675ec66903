#include "PayloadFields.h"

#include "InputLimits.h"
#include "ModuleLimits.h"

#include <QVariantHash>
#include <QVariantList>

#include <utility>
#include <vector>

namespace {

bool isContainer(const QVariant& value)
{
    const int type = value.typeId();
    return type == QMetaType::QVariantMap || type == QMetaType::QVariantHash || type == QMetaType::QVariantList;
}

// Calls visit(child) for each value directly inside a map, hash or list.
template <typename Visit>
void forEachChild(const QVariant& container, Visit&& visit)
{
    switch (container.typeId()) {
    case QMetaType::QVariantMap:
        for (const QVariant& child : container.toMap())
            visit(child);
        break;
    case QMetaType::QVariantHash:
        for (const QVariant& child : container.toHash())
            visit(child);
        break;
    case QMetaType::QVariantList:
        for (const QVariant& child : container.toList())
            visit(child);
        break;
    default:
        break;
    }
}

// Whether some map or list lies deeper than maxLevels. The walk keeps its own
// stack and never opens a container below the limit.
bool nestsDeeperThan(const QVariant& value, int maxLevels)
{
    if (!isContainer(value))
        return false;
    std::vector<std::pair<QVariant, int>> pending{{value, 1}};
    while (!pending.empty()) {
        const QVariant container = std::move(pending.back().first);
        const int level = pending.back().second;
        pending.pop_back();
        bool tooDeep = false;
        forEachChild(container, [&](const QVariant& child) {
            if (!isContainer(child))
                return;
            if (level + 1 > maxLevels)
                tooDeep = true;
            else
                pending.emplace_back(child, level + 1);
        });
        if (tooDeep)
            return true;
    }
    return false;
}

// One container being copied: its source, where the copy has got to, and the
// copy so far.
struct OpenContainer
{
    explicit OpenContainer(const QVariant& source, QString keyInParent)
        : type(source.typeId()), keyInParent(std::move(keyInParent))
    {
        if (type == QMetaType::QVariantMap) {
            const QVariantMap map = source.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it)
                entries.emplace_back(it.key(), it.value());
        } else if (type == QMetaType::QVariantHash) {
            const QVariantHash hash = source.toHash();
            for (auto it = hash.cbegin(); it != hash.cend(); ++it)
                entries.emplace_back(it.key(), it.value());
        } else {
            for (const QVariant& item : source.toList())
                entries.emplace_back(QString(), item);
        }
    }

    void add(const QString& key, const QVariant& value)
    {
        if (type == QMetaType::QVariantMap)
            map.insert(key, value);
        else if (type == QMetaType::QVariantHash)
            hash.insert(key, value);
        else
            list.append(value);
    }

    QVariant copy() const
    {
        if (type == QMetaType::QVariantMap)
            return map;
        if (type == QMetaType::QVariantHash)
            return hash;
        return list;
    }

    int type;
    QString keyInParent;
    std::vector<std::pair<QString, QVariant>> entries;
    size_t next = 0;
    QVariantMap map;
    QVariantHash hash;
    QVariantList list;
};

} // namespace

namespace PayloadFields {

QString text(const QVariant& value)
{
    QString read = value.toString();
    if (read.size() <= ModuleLimits::kMaxPayloadTextLength)
        return read;
    InputLimits::textDropped();
    return QString();
}

bool isInteger(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

bool isNumber(const QVariant& value)
{
    return isInteger(value) || value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float;
}

QVariantList list(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return value.toList();
    default:
        return {};
    }
}

QStringList textList(const QVariant& value)
{
    QStringList texts = value.toStringList();
    for (QString& entry : texts) {
        if (entry.size() > ModuleLimits::kMaxPayloadTextLength) {
            InputLimits::textDropped();
            entry = QString();
        }
    }
    return texts;
}

QVariant withinNesting(const QVariant& value, int maxLevels)
{
    if (!nestsDeeperThan(value, maxLevels))
        return value;
    int dropped = 0;
    QVariant result;
    std::vector<OpenContainer> open;
    open.emplace_back(value, QString());
    while (!open.empty()) {
        OpenContainer& current = open.back();
        if (current.next < current.entries.size()) {
            const auto& [key, child] = current.entries.at(current.next++);
            if (!isContainer(child)) {
                current.add(key, child);
            } else if (int(open.size()) + 1 > maxLevels) {
                ++dropped;
            } else {
                const QVariant nested = child;
                const QString nestedKey = key;
                open.emplace_back(nested, nestedKey);
            }
            continue;
        }
        const QVariant copy = current.copy();
        const QString key = current.keyInParent;
        open.pop_back();
        if (open.empty())
            result = copy;
        else
            open.back().add(key, copy);
    }
    InputLimits::partsDropped(dropped);
    return result;
}

QVariant withinNesting(const QVariant& value)
{
    return withinNesting(value, ModuleLimits::kMaxPayloadNesting);
}

} // namespace PayloadFields
