#include "PluginTopologyMgt.h"

// Broadcasts are routed by their exact, case-sensitive names. Every handler
// takes the event's payload only.
void PluginTopologyMgt::initialEventActionMap()
{
}
