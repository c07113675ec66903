#pragma once

#include <QSet>
#include <QString>

// Counts what one reply or broadcast lost to the module's limits
// (ModuleLimits.h) and names it in one log line when the input is done, however
// many fields or nodes it lost: a hostile answer must not turn into thousands
// of lines. The readers and the depth checks report here; the dispatch entry
// points open a Scope around each input. Scopes nest: an input delivered while
// another is handled counts for itself. A report made outside any scope (a
// direct call by the host or a test) is written at once, on a line of its own.
//
// Everything runs on the GUI thread, like the rest of the module.
class InputLimits
{
public:
    class Scope
    {
    public:
        // `function` heads the line as in every log line of the module; `kind`
        // and `name` say which input it was ("reply", "RetrieveAllDeviceTopology").
        Scope(const char* function, const char* kind, const QString& name);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        Scope* m_outer;
        const char* m_function;
        const char* m_kind;
        QString m_name;
        int m_textsDropped = 0;
        int m_partsDropped = 0;
        int m_editsRefused = 0;
        QSet<QString> m_droppedNodes;

        friend class InputLimits;
    };

    // A text longer than the limit was read as empty.
    static void textDropped();
    // Maps, lists, nodes or subtrees lying deeper than the limit were left out.
    static void partsDropped(int count = 1);
    // An edit of a tree was refused because it would go deeper than the limit.
    static void editRefused();

    // Identifiers of device nodes this input left out for their depth, so that
    // later records of the same input hanging below them go too, without
    // being reported once more or logged as orphans.
    static void rememberDroppedNode(const QString& id);
    static bool isDroppedNode(const QString& id);

private:
    static QString summary(int textsDropped, int partsDropped, int editsRefused);
    static void writeAtOnce(int textsDropped, int partsDropped, int editsRefused);
};
