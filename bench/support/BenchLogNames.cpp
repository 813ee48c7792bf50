// Benchmark programs log under their own ident.
char const* g_CoreMachDebug_LogPrefix = "DuoscopeBench";
char const* g_CoreMachDebug_LogFileName = "Duoscope.log";
