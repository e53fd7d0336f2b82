/* ZYNERecords.h - the plain records exchanged with the host and with guest plug-ins.
 *
 * A plug-in describes every class, control, method, property, event, constant,
 * module, interface, structure and enumeration it offers in one of these records
 * and hands a pointer to a registration service. Records are built by separately
 * compiled plug-ins, so their layout is a binary interface: every field is one
 * machine word (a pointer, a `long` or an `unsigned long`), with no gaps, in the
 * order below. On i386 a word is the interface's 32 bits; on x86_64 it is 64.
 *
 * Strings in records are NUL-terminated 8-bit texts owned by whoever built the
 * record. A list is a pointer to the first of a run of records followed by a
 * signed word count. A reader never reads past the end of a record's version.
 *
 * This header is self-contained and compiles as C and as C++.
 */
#ifndef ZYNE_RECORDS_H
#define ZYNE_RECORDS_H

#ifdef __cplusplus
extern "C" {
#endif

/* The version the bridge writes into every record it builds. Readers of a guest's
 * record honour these thresholds:
 *   below 6: class and control records have no constant list
 *   below 7: method lists use the three-word form; class records have no flags
 *   below 9: no shared lists on classes; modules have no property, structure or
 *            enumeration lists */
#define ZYNE_RECORD_VERSION 9

/* A property getter or setter word of all bits set: no routine, the property is
 * the word at offset `param` of the plug-in's instance data. */
#define ZYNE_DIRECT_FIELD ((void*)-1L)

/* Class flag: usable in programs without a graphical interface. */
#define ZYNE_CLASS_CONSOLE_SAFE 4UL

/* The string record's member helpers are part of the bridge's exported interface;
 * a guest's own copy of them stays hidden inside the guest. */
#if defined(__cplusplus) && defined(ZYNE_BUILDING_BRIDGE)
#define ZYNE_RECORD_API __attribute__((visibility("default")))
#else
#define ZYNE_RECORD_API
#endif

/* Opaque host objects; only pointers to them cross the interface. */
typedef struct ZYNEobjectStruct ZYNEobjectStruct;
typedef struct ZYNEclassRefStruct ZYNEclassRefStruct;
typedef ZYNEobjectStruct* ZYNEobject;

/* Database records that the bridge passes through without reading them. */
typedef struct ZYNEdbEngineDefinition ZYNEdbEngineDefinition;
typedef struct ZYNEdbTableDefinition ZYNEdbTableDefinition;
typedef struct ZYNEdbCursorDefinition ZYNEdbCursorDefinition;
typedef struct ZYNEDatabaseConnectionDefinition ZYNEDatabaseConnectionDefinition;
typedef struct dbDatabase dbDatabase;
typedef struct dbCursor dbCursor;

/* The host's resolver: a service name to the function performing it, or null. */
typedef void* (*ZYNEResolver)(const char* name);

/* The host's string record, as far as plug-ins read it. Created, locked and
 * unlocked only through the host's string services. */
typedef struct ZYNEstringStruct {
    unsigned long hostWord0;       /* managed by the host */
    const unsigned char* storage;  /* one length byte, the bytes, then a NUL */
    unsigned long hostWord1;       /* managed by the host */
    long length;                   /* byte length */
#ifdef __cplusplus
    /* The byte length; 0 for a null record. */
    ZYNE_RECORD_API long Length() const;
    /* The first text byte (storage + 1); a static "" for a null record. */
    ZYNE_RECORD_API const char* CString() const;
    /* The length-prefixed text (storage); a static zero length byte for a null record. */
    ZYNE_RECORD_API const unsigned char* PString() const;
#endif
} ZYNEstringStruct;
typedef ZYNEstringStruct* ZYNEstring;

/* A method, current form (record version 7 and later). */
typedef struct ZYNEmethodDefinition {
    void* function;           /* the routine, or the getter of an assignable method */
    void* setter;             /* called when the method is the target of an assignment, or null */
    const char* declaration;  /* e.g. "LoadPlugin( location as FolderItem ) as Boolean" */
    unsigned long flags;      /* carried through to the item model */
} ZYNEmethodDefinition;

/* A method, earlier form: records below version 7 and hosts older than 5.9. */
typedef struct ZYNEmethodDefinitionV6 {
    void* function;
    void* setter;
    const char* declaration;
} ZYNEmethodDefinitionV6;

typedef struct ZYNEproperty {
    const char* group;          /* group name; "" for none */
    const char* name;
    const char* type;           /* type word: "Integer", "String", "Boolean", ... */
    unsigned long flags;
    void* getter;               /* routine(object, param), or ZYNE_DIRECT_FIELD */
    void* setter;               /* routine(object, param, value), ZYNE_DIRECT_FIELD, or null */
    long param;                 /* selector passed to the getter, or a field's offset */
    void* editor;               /* not interpreted by the bridge */
    long enumCount;
    const char** enumEntries;   /* enumCount value names, or null */
} ZYNEproperty;

typedef struct ZYNEevent {
    const char* declaration;
    long slot;                  /* filled in by the host at registration */
} ZYNEevent;

typedef struct ZYNEeventInstance {
    const char* name;           /* the superclass event handled (name or declaration) */
    void* function;             /* the handler */
} ZYNEeventInstance;

typedef struct ZYNEconstant {
    const char* declaration;    /* "name [as type] = value" */
    void* reserved;             /* not interpreted by the bridge */
    unsigned long flags;        /* scope bits */
} ZYNEconstant;

typedef struct ZYNEclassDefinition {
    long version;                            /*  0 */
    const char* name;                        /*  1 */
    const char* superName;                   /*  2 superclass name, or null */
    long dataSize;                           /*  3 bytes of instance data the plug-in needs */
    long dataOffset;                         /*  4 filled in by the host: where that data starts */
    void (*constructor)(ZYNEobject self);    /*  5 or null */
    void (*destructor)(ZYNEobject self);     /*  6 or null */
    ZYNEproperty* properties;                /*  7 */
    long propertyCount;                      /*  8 */
    ZYNEmethodDefinition* methods;           /*  9 three-word form below version 7 */
    long methodCount;                        /* 10 */
    ZYNEevent* events;                       /* 11 events the class defines */
    long eventCount;                         /* 12 */
    ZYNEeventInstance* eventInstances;       /* 13 handlers for superclass events */
    long eventInstanceCount;                 /* 14 */
    const char* interfaces;                  /* 15 names of implemented interfaces, or null */
    void* reserved16;                        /* 16 not interpreted by the bridge */
    void* reserved17;                        /* 17 not interpreted by the bridge */
    ZYNEconstant* constants;                 /* 18 version 6 */
    long constantCount;                      /* 19 version 6 */
    unsigned long flags;                     /* 20 version 7: ZYNE_CLASS_CONSOLE_SAFE */
    ZYNEproperty* sharedProperties;          /* 21 version 9 */
    long sharedPropertyCount;                /* 22 version 9 */
    ZYNEmethodDefinition* sharedMethods;     /* 23 version 9, always the four-word form */
    long sharedMethodCount;                  /* 24 version 9 */
} ZYNEclassDefinition;

/* The behaviour record of a control: what a control's instances do. A control record's
 * word 14 points at one, or is null for a control that does nothing of its own (the
 * designer then shows its palette icon). Every word is a routine or null; a null entry
 * is simply not called. Every routine takes the control instance first; the instance's
 * data is reached with ZYNEGetControlData(self, control record), as anywhere else.
 *
 *   WORD  FIELD         CALLED
 *   0     constructor   once, when an instance is made, after its data is zeroed
 *   1     destructor    once, when the last reference to the instance goes
 *   2     redraw        to draw: (self, graphics); draw in window coordinates, inside the
 *                       bounds "GetControlBounds" gives
 *   3     mouseDown     (self, x, y) in window coordinates; answers nonzero to receive
 *                       the following mouseDrag and mouseUp calls
 *   4     mouseDrag     (self, x, y) while the button stays down
 *   5     mouseUp       (self, x, y) when the button is released
 *   6     keyDown       (self, key, modifiers); answers nonzero when it used the key
 *   7     gotFocus      (self)
 *   8     lostFocus     (self)
 *   9     stateChanged  (self, what): ZYNE_CONTROL_* bits saying what changed: bounds,
 *                       visibility or enabled state
 *   10-15 reserved      zero; later additions take these words in order
 */
#define ZYNE_CONTROL_BOUNDS_CHANGED 1UL
#define ZYNE_CONTROL_VISIBLE_CHANGED 2UL
#define ZYNE_CONTROL_ENABLED_CHANGED 4UL

typedef struct ZYNEcontrolBehaviour {
    void (*constructor)(ZYNEobject self);                                          /*  0 */
    void (*destructor)(ZYNEobject self);                                           /*  1 */
    void (*redraw)(ZYNEobject self, ZYNEobject graphics);                          /*  2 */
    unsigned char (*mouseDown)(ZYNEobject self, long x, long y);                   /*  3 */
    void (*mouseDrag)(ZYNEobject self, long x, long y);                            /*  4 */
    void (*mouseUp)(ZYNEobject self, long x, long y);                              /*  5 */
    unsigned char (*keyDown)(ZYNEobject self, long key, unsigned long modifiers);  /*  6 */
    void (*gotFocus)(ZYNEobject self);                                             /*  7 */
    void (*lostFocus)(ZYNEobject self);                                            /*  8 */
    void (*stateChanged)(ZYNEobject self, unsigned long what);                     /*  9 */
    void* reserved[6];                                                             /* 10-15 */
} ZYNEcontrolBehaviour;

typedef struct ZYNEcontrol {
    long version;                            /*  0 */
    const char* name;                        /*  1 */
    long dataSize;                           /*  2 */
    unsigned long flags;                     /*  3 shown to the host as "Flags" */
    long toolbarPicture;                     /*  4 palette icon number */
    void* reserved5;                         /*  5 not interpreted by the bridge */
    long defaultWidth;                       /*  6 */
    long defaultHeight;                      /*  7 */
    ZYNEproperty* properties;                /*  8 */
    long propertyCount;                      /*  9 */
    ZYNEmethodDefinition* methods;           /* 10 three-word form below version 7 */
    long methodCount;                        /* 11 */
    ZYNEevent* events;                       /* 12 new events of the control */
    long eventCount;                         /* 13 */
    ZYNEcontrolBehaviour* behaviour;         /* 14 callbacks for the control's instances, or null */
    long dataOffset;                         /* 15 filled in by the host */
    ZYNEeventInstance* eventInstances;       /* 16 */
    long eventInstanceCount;                 /* 17 */
    void* reserved18;                        /* 18 not interpreted by the bridge */
    void* reserved19;                        /* 19 not interpreted by the bridge */
    void* reserved20;                        /* 20 not interpreted by the bridge */
    ZYNEconstant* constants;                 /* 21 version 6 */
    long constantCount;                      /* 22 version 6 */
} ZYNEcontrol;

typedef struct ZYNEstructure {
    const char* name;
    unsigned long flags;        /* scope bits */
    const char** fields;        /* fieldCount field declarations */
    long fieldCount;
} ZYNEstructure;

typedef struct ZYNEenum {
    const char* name;
    const char* type;           /* underlying type word, or null */
    unsigned long flags;        /* scope bits */
    const char** fields;        /* fieldCount value declarations */
    long fieldCount;
} ZYNEenum;

typedef struct ZYNEmoduleDefinition {
    long version;                            /*  0 */
    const char* name;                        /*  1 */
    ZYNEmethodDefinition* methods;           /*  2 three-word form below version 7 */
    long methodCount;                        /*  3 */
    ZYNEconstant* constants;                 /*  4 */
    long constantCount;                      /*  5 */
    ZYNEproperty* properties;                /*  6 version 9 */
    long propertyCount;                      /*  7 version 9 */
    ZYNEstructure* structures;               /*  8 version 9 */
    long structureCount;                     /*  9 version 9 */
    ZYNEenum* enums;                         /* 10 version 9 */
    long enumCount;                          /* 11 version 9 */
} ZYNEmoduleDefinition;

typedef struct ZYNEinterfaceDefinition {
    long version;
    const char* name;
    ZYNEmethodDefinition* methods;  /* declarations only, null routines */
    long methodCount;
} ZYNEinterfaceDefinition;

/* Classic rectangle: four signed 16-bit fields (not words: it is a value type). */
typedef struct ZYNERect {
    short top;
    short left;
    short bottom;
    short right;
} ZYNERect;

/* Array element kinds, for ZYNECreateArray. */
typedef long ZYNEArrayType;
/* Pixel layouts, for ZYNEBuildPictureFromBuffer. */
typedef long ZQPixelType;

#ifdef __cplusplus
} /* extern "C" */

namespace ZQ {
typedef ZYNERect Rect;
}

#define ZYNE_WORDS(n) (static_cast<unsigned long>(n) * sizeof(void*))
static_assert(sizeof(long) == sizeof(void*), "records need long to be a machine word");
static_assert(sizeof(ZYNEstringStruct) == ZYNE_WORDS(4), "ZYNEstringStruct is 4 words");
static_assert(sizeof(ZYNEmethodDefinition) == ZYNE_WORDS(4), "method record is 4 words");
static_assert(sizeof(ZYNEmethodDefinitionV6) == ZYNE_WORDS(3), "earlier method record is 3 words");
static_assert(sizeof(ZYNEproperty) == ZYNE_WORDS(10), "property record is 10 words");
static_assert(sizeof(ZYNEevent) == ZYNE_WORDS(2), "event record is 2 words");
static_assert(sizeof(ZYNEeventInstance) == ZYNE_WORDS(2), "event instance record is 2 words");
static_assert(sizeof(ZYNEconstant) == ZYNE_WORDS(3), "constant record is 3 words");
static_assert(sizeof(ZYNEclassDefinition) == ZYNE_WORDS(25), "class definition is 25 words");
static_assert(sizeof(ZYNEcontrol) == ZYNE_WORDS(23), "control record is 23 words");
static_assert(sizeof(ZYNEcontrolBehaviour) == ZYNE_WORDS(16), "control behaviour is 16 words");
static_assert(sizeof(ZYNEstructure) == ZYNE_WORDS(4), "structure record is 4 words");
static_assert(sizeof(ZYNEenum) == ZYNE_WORDS(5), "enumeration record is 5 words");
static_assert(sizeof(ZYNEmoduleDefinition) == ZYNE_WORDS(12), "module record is 12 words");
static_assert(sizeof(ZYNEinterfaceDefinition) == ZYNE_WORDS(4), "interface record is 4 words");
static_assert(sizeof(ZYNERect) == 8, "a rectangle is four 16-bit fields");
#undef ZYNE_WORDS
#endif /* __cplusplus */

#endif /* ZYNE_RECORDS_H */
