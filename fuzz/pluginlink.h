#ifndef FUZZ_PLUGINLINK_H
#define FUZZ_PLUGINLINK_H

class backgroundSEM;
class tescan;

/// The link of a plugin object that had its init(). The object keeps it to itself; a run has to
/// take its network away.
tescan *linkOf(backgroundSEM &plugin);

#endif
