#include "InputLimits.h"

#include "ModuleLimits.h"
#include "ModuleLog.h"

#include <QStringList>

namespace {
InputLimits::Scope* g_openScope = nullptr;
static_assert(ModuleLimits::kMaxTreeDepth == ModuleLimits::kMaxPayloadNesting,
              "the log line names one depth limit for trees and payloads alike");
}

InputLimits::Scope::Scope(const char* function, const char* kind, const QString& name)
    : m_outer(g_openScope), m_function(function), m_kind(kind), m_name(name)
{
    g_openScope = this;
}

InputLimits::Scope::~Scope()
{
    g_openScope = m_outer;
    if (m_textsDropped == 0 && m_partsDropped == 0 && m_editsRefused == 0)
        return;
    TOPOLOGY_LOG_ERROR("%s, %s %s over the module's limits: %s", m_function, m_kind, m_name,
                       summary(m_textsDropped, m_partsDropped, m_editsRefused));
}

void InputLimits::textDropped()
{
    if (g_openScope)
        ++g_openScope->m_textsDropped;
    else
        writeAtOnce(1, 0, 0);
}

void InputLimits::partsDropped(int count)
{
    if (count <= 0)
        return;
    if (g_openScope)
        g_openScope->m_partsDropped += count;
    else
        writeAtOnce(0, count, 0);
}

void InputLimits::editRefused()
{
    if (g_openScope)
        ++g_openScope->m_editsRefused;
    else
        writeAtOnce(0, 0, 1);
}

void InputLimits::rememberDroppedNode(const QString& id)
{
    if (g_openScope)
        g_openScope->m_droppedNodes.insert(id);
}

bool InputLimits::isDroppedNode(const QString& id)
{
    return g_openScope && g_openScope->m_droppedNodes.contains(id);
}

QString InputLimits::summary(int textsDropped, int partsDropped, int editsRefused)
{
    using namespace ModuleLimits;
    QStringList parts;
    if (textsDropped > 0)
        parts << QStringLiteral("%1 text(s) longer than %2 characters dropped")
                         .arg(textsDropped)
                         .arg(kMaxPayloadTextLength);
    if (partsDropped > 0)
        parts << QStringLiteral("%1 part(s) beyond the depth limit of %2 levels dropped")
                         .arg(partsDropped)
                         .arg(kMaxTreeDepth);
    if (editsRefused > 0)
        parts << QStringLiteral("%1 edit(s) refused for going deeper than %2 levels")
                         .arg(editsRefused)
                         .arg(kMaxTreeDepth);
    return parts.join(QStringLiteral(", "));
}

void InputLimits::writeAtOnce(int textsDropped, int partsDropped, int editsRefused)
{
    TOPOLOGY_LOG_ERROR("%s, a direct call over the module's limits: %s", "InputLimits::writeAtOnce",
                       summary(textsDropped, partsDropped, editsRefused));
}
