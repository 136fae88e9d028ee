# Files of this subsystem in the tintera_sync library (none yet).
