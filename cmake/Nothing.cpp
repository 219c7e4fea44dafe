// A folder that has no sources yet.
