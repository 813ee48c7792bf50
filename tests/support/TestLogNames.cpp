// Every test program logs under its own ident into "Duoscope.log".
char const* g_CoreMachDebug_LogPrefix = "DuoscopeTest";
char const* g_CoreMachDebug_LogFileName = "Duoscope.log";
