#include "RequestContextRegistry.h"

#include "RequestContexts.h"

RequestContextRegistry::~RequestContextRegistry()
{
    for (auto it = m_live.cbegin(); it != m_live.cend(); ++it)
        RequestContexts::release(it.value(), it.key());
    for (const auto& [command, context] : std::as_const(m_retired))
        RequestContexts::release(command, context);
}

void RequestContextRegistry::handOut(const QString& command, void* context)
{
    if (context)
        m_live.insert(context, command);
}

bool RequestContextRegistry::isLive(const QString& command, const void* context) const
{
    if (!context)
        return true;
    const auto live = m_live.constFind(const_cast<void*>(context));
    return live != m_live.cend() && live.value() == command;
}

void RequestContextRegistry::release(const QString& command, void* context)
{
    const auto live = m_live.find(context);
    if (live == m_live.end() || live.value() != command)
        return;
    m_live.erase(live);
    RequestContexts::release(command, context);
}

void RequestContextRegistry::retireAll()
{
    for (auto it = m_live.cbegin(); it != m_live.cend(); ++it)
        m_retired.append({it.value(), it.key()});
    m_live.clear();
}
