// ForwarderProbe.h - what the forwarder probe library hands the hostapi tests.
//
// The probe is a small shared library linked against the bridge the way any
// client of the interface is: its references to the ZYNE... entry points bind to
// the bridge loaded by the reference host. It lists every entry point of the
// service table with its host name, its address and a way to call it with zero
// arguments, so the tests reach the real exported functions without linking the
// bridge into the test executable.
#ifndef ZYNE_TESTS_FORWARDER_PROBE_H
#define ZYNE_TESTS_FORWARDER_PROBE_H

struct ForwarderRow {
    const char* entry;     // entry point name
    const char* hostName;  // what it asks the resolver for
    const char* valueType; // the value type of property and array overloads, else ""
    void* address;         // the entry point itself
    void (*callWithNothing)();  // calls it with every argument zero or null
    bool twoStage;         // an array forwarder: the service returns an element routine
    bool adaptsMethods;    // a registration that also asks for the host's version
};

#include "hostapi/ZYNERecords.h"

// The helpers the interface defines locally, reached through the bridge too.
struct ForwarderProbe {
    const ForwarderRow* rows;
    long rowCount;
    void* (*getClassData)(ZYNEobject, ZYNEclassDefinition*);
    void* (*getControlData)(ZYNEobject, ZYNEcontrol*);
    const char* (*getStringContents)(ZYNEstring, unsigned long*);
    long (*stringLength)(ZYNEstring);
    const char* (*stringCString)(ZYNEstring);
    const unsigned char* (*stringPString)(ZYNEstring);
    void (*setClassConsoleSafe)(ZYNEclassDefinition*);
    ZYNEmethodDefinitionV6* (*convertCurrentMethodsToV6)(const ZYNEmethodDefinition*, long);
    void* (*loadGlobalMethod)(const char*, const char*);
    void* (*hcallResolver)(const char*);
    ZYNEResolver* resolver;  // the bridge's gResolver
};

extern "C" const ForwarderProbe* ZyneForwarderProbe();

#endif
