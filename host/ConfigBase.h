#pragma once

// Configuration object of the host framework. The topology module receives it
// only through the two "...Ex" entry points, which it deliberately ignores, so
// nothing beyond an opaque polymorphic type is needed here.
class ConfigBase
{
public:
    virtual ~ConfigBase() = default;
};
