#pragma once

#include <QHash>
#include <QPair>
#include <QString>
#include <QVariant>

// Where one part stands in its reply. A reply in one piece is its own first and
// last part.
struct ReplyPart
{
    bool first = true;
    bool last = true;
};

// Follows the replies that arrive in several parts: several calls with one
// request's context, `completed` false on every part but the last. A reply is
// told apart by its context when its request carried one, and by its request
// name when not; so two replies without a context and with one name must not
// arrive with their parts mixed. The parts of a reply that is acted on only
// whole are gathered here until its last part.
class ReplyParts
{
public:
    struct Part
    {
        ReplyPart position;
        // This part's data, or, on the last part of a gathered reply, the whole reply.
        QVariant data;
    };

    Part take(const QString& command, const void* context, const QVariant& data, bool completed, bool gather);
    // Forgets every reply still open: their remaining parts start anew.
    void clear();
    bool isEmpty() const { return m_open.isEmpty(); }

    // The reply made of `earlier` followed by `later`: lists are joined, maps
    // take the keys of both (a list under a key both carry is joined, any other
    // value is the later one's), and an empty part adds nothing.
    static QVariant merged(const QVariant& earlier, const QVariant& later);

private:
    using Key = QPair<QString, quintptr>;
    // Replies with a part handled and the last part still to come, with what
    // has been gathered of them.
    QHash<Key, QVariant> m_open;
};
