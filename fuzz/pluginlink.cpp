#include "fuzz/pluginlink.h"

#include "plugin/backgroundsem.h"

namespace {
// Explicit instantiation is the one place where the language lets a private member be named.
template <tescan *backgroundSEM::*member> struct Reach {
    friend tescan *reach(backgroundSEM &plugin) { return plugin.*member; }
};
template struct Reach<&backgroundSEM::sem>;
tescan *reach(backgroundSEM &plugin);
} // namespace

tescan *linkOf(backgroundSEM &plugin)
{
    return reach(plugin);
}
