// HostArrays.cpp - the host's one-dimensional arrays and their services:
// "RuntimeArrayCreateSingleDimBoundedArray", "RuntimeUBound", the "RuntimeDirectRead..."
// readers and the element-routine services "RuntimeArrayDirectGetInsertProc",
// "RuntimeArrayDirectGetGetProc" and "RuntimeArrayDirectGetSetProc".
//
// An array is a host object of the class "Array" (so leak checks count it) whose data
// names its element kind (ReferenceHost::ArrayKind) and a heap vector of cells. The
// element-routine services hand back the routine suited to the array's own kind, so a
// plug-in that calls it with another value type gets what it asked for; the readers and
// routines convert between integer widths as the host's language would. A string or
// object array holds one reference on each element; readers hand elements out borrowed
// (the array keeps its reference). Out-of-range indexes and wrong kinds are faults and
// read as zero. Structure arrays are not offered.
//
//   OFFSET   SIZE     FIELD   MEANING
//   6 words  1 word   kind    ArrayKind
//   7 words  1 word   cells   heap vector of cells; freed with the array
#include <vector>

#include "HostState.h"

namespace zyne::host {

namespace {

using Kind = ReferenceHost::ArrayKind;

struct Cell {
    long long integer = 0;  // every integer kind
    double real = 0;        // single and double
    void* ref = nullptr;    // strings and objects, held
};

struct ArrayData {
    long kind;
    std::vector<Cell>* cells;
};

void DestroyArray(ZYNEobject self);

ZYNEclassDefinition gArrayClass = detail::HostClassRecord("Array", sizeof(ArrayData), &DestroyArray);

ArrayData* DataOf(void* array) {
    return reinterpret_cast<ArrayData*>(static_cast<char*>(array) + gArrayClass.dataOffset);
}

ArrayData* LiveArray(const detail::HostState& state, void* object) {
    const ClassInfo* info = state.ClassInfoOf(static_cast<ZYNEobject>(object));
    return info != nullptr && info->record == &gArrayClass ? DataOf(object) : nullptr;
}

bool IsIntegerKind(long kind) {
    return kind >= Kind::kArrayInt64 && kind <= Kind::kArrayUInt8;
}

bool HoldsReferences(long kind) {
    return kind == Kind::kArrayString || kind == Kind::kArrayObject;
}

void Hold(detail::HostState& state, long kind, void* ref, const char* service) {
    if (kind == Kind::kArrayString) state.LockString(static_cast<ZYNEstring>(ref), service);
    if (kind == Kind::kArrayObject) state.LockObject(static_cast<ZYNEobject>(ref), service);
}

void Release(detail::HostState& state, long kind, void* ref, const char* service) {
    if (kind == Kind::kArrayString) state.UnlockString(static_cast<ZYNEstring>(ref), service);
    if (kind == Kind::kArrayObject) state.UnlockObject(static_cast<ZYNEobject>(ref), service);
}

void DestroyArray(ZYNEobject self) {
    ArrayData* data = DataOf(self);
    if (data->cells != nullptr && HoldsReferences(data->kind)) {
        detail::HostState& state = detail::CurrentState();
        for (const Cell& cell : *data->cells) Release(state, data->kind, cell.ref, "Array");
    }
    delete data->cells;
    *data = {};
}

// An integer as an element of `kind` keeps it: narrowed to the element's width.
long long Narrowed(long kind, long long value) {
    switch (kind) {
        case Kind::kArrayInt32: return static_cast<int>(value);
        case Kind::kArrayInt16: return static_cast<short>(value);
        case Kind::kArrayInt8: return static_cast<signed char>(value);
        case Kind::kArrayUInt32: return static_cast<unsigned int>(value);
        case Kind::kArrayUInt16: return static_cast<unsigned short>(value);
        case Kind::kArrayUInt8: return static_cast<unsigned char>(value);
        default: return value;
    }
}

ZYNEobject MakeArray(detail::HostState& state, long kind, long upperBound) {
    if (kind < Kind::kArrayInt64 || kind > Kind::kArrayObject || upperBound < -1) return nullptr;
    ZYNEobject array = state.NewObject(state.HostClassOf(&gArrayClass));
    if (ArrayData* data = LiveArray(state, array))
        *data = {kind, new std::vector<Cell>(static_cast<size_t>(upperBound + 1))};
    return array;
}

// The cell at `index` of a live array, or null (with a fault naming `service`).
Cell* CellAt(detail::HostState& state, void* array, long index, const char* service) {
    ArrayData* data = LiveArray(state, array);
    if (data == nullptr) {
        state.Fault(std::string(service) + " on an object that is not an array");
        return nullptr;
    }
    if (index < 0 || static_cast<size_t>(index) >= data->cells->size()) {
        state.Fault(std::string(service) + " with an index out of bounds");
        return nullptr;
    }
    return &(*data->cells)[static_cast<size_t>(index)];
}

// ----- Element routines, one set per value type -------------------------------------------------

template <class T>
Cell ToCell(long kind, T value) {
    Cell cell;
    if constexpr (std::is_integral_v<T>) {
        cell.integer = Narrowed(kind, static_cast<long long>(value));
    } else if constexpr (std::is_floating_point_v<T>) {
        cell.real = kind == Kind::kArraySingle ? static_cast<float>(value) : static_cast<double>(value);
    } else {
        cell.ref = value;
    }
    return cell;
}

template <class T>
T FromCell(const Cell& cell) {
    if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(cell.integer);
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(cell.real);
    } else {
        return static_cast<T>(cell.ref);
    }
}

template <class T>
void InsertElement(void* array, long index, T value) {
    detail::HostState& state = detail::CurrentState();
    state.Called("Array.Insert", array, index, value);
    ArrayData* data = LiveArray(state, array);
    if (data == nullptr || index < 0 || static_cast<size_t>(index) > data->cells->size()) {
        state.Fault("Array.Insert on a non-array or out of bounds");
        return;
    }
    const Cell cell = ToCell(data->kind, value);
    Hold(state, data->kind, cell.ref, "Array.Insert");
    data->cells->insert(data->cells->begin() + index, cell);
}

template <class T>
T GetElement(void* array, long index) {
    detail::HostState& state = detail::CurrentState();
    state.Called("Array.Get", array, index);
    const Cell* cell = CellAt(state, array, index, "Array.Get");
    return cell != nullptr ? FromCell<T>(*cell) : T{};
}

template <class T>
void SetElement(void* array, long index, T value) {
    detail::HostState& state = detail::CurrentState();
    state.Called("Array.Set", array, index, value);
    Cell* cell = CellAt(state, array, index, "Array.Set");
    if (cell == nullptr) return;
    const long kind = LiveArray(state, array)->kind;
    const Cell fresh = ToCell(kind, value);
    Hold(state, kind, fresh.ref, "Array.Set");
    Release(state, kind, cell->ref, "Array.Set");
    *cell = fresh;
}

enum class Use { kInsert, kGet, kSet };

template <class T>
void* RoutineFor(Use use) {
    switch (use) {
        case Use::kInsert: return reinterpret_cast<void*>(&InsertElement<T>);
        case Use::kGet: return reinterpret_cast<void*>(&GetElement<T>);
        case Use::kSet: return reinterpret_cast<void*>(&SetElement<T>);
    }
    return nullptr;
}

void* ElementRoutine(void* array, Use use, const char* service) {
    detail::HostState& state = detail::CurrentState();
    state.Called(service, array);
    if (array == nullptr) return nullptr;
    const ArrayData* data = LiveArray(state, array);
    if (data == nullptr) {
        state.Fault(std::string(service) + " on an object that is not an array");
        return nullptr;
    }
    switch (data->kind) {
        case Kind::kArrayInt64: return RoutineFor<long long>(use);
        case Kind::kArrayInt32: return RoutineFor<long>(use);
        case Kind::kArrayInt16: return RoutineFor<short>(use);
        case Kind::kArrayInt8: return RoutineFor<char>(use);
        case Kind::kArrayUInt64: return RoutineFor<unsigned long long>(use);
        case Kind::kArrayUInt32: return RoutineFor<unsigned long>(use);
        case Kind::kArrayUInt16: return RoutineFor<unsigned short>(use);
        case Kind::kArrayUInt8: return RoutineFor<unsigned char>(use);
        case Kind::kArraySingle: return RoutineFor<float>(use);
        case Kind::kArrayDouble: return RoutineFor<double>(use);
        case Kind::kArrayString: return RoutineFor<ZYNEstring>(use);
        case Kind::kArrayObject: return RoutineFor<ZYNEobject>(use);
        default: return nullptr;
    }
}

void* GetInsertProc(void* array) {
    return ElementRoutine(array, Use::kInsert, "RuntimeArrayDirectGetInsertProc");
}
void* GetGetProc(void* array) {
    return ElementRoutine(array, Use::kGet, "RuntimeArrayDirectGetGetProc");
}
void* GetSetProc(void* array) {
    return ElementRoutine(array, Use::kSet, "RuntimeArrayDirectGetSetProc");
}

// ----- Services -----------------------------------------------------------------------------------

void* CreateArray(ZYNEArrayType kind, long upperBound) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeArrayCreateSingleDimBoundedArray", kind, upperBound);
    ZYNEobject array = MakeArray(state, kind, upperBound);
    if (array == nullptr) state.Fault("RuntimeArrayCreateSingleDimBoundedArray with a bad kind or bound");
    return array;
}

long UBound(void* array) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeUBound", array);
    if (array == nullptr) return -1;
    const ArrayData* data = LiveArray(state, array);
    if (data == nullptr) {
        state.Fault("RuntimeUBound on an object that is not an array");
        return -1;
    }
    return static_cast<long>(data->cells->size()) - 1;
}

// The cell `index` of an array of `kind` (any integer kind when kind is kArrayInt32).
const Cell* ReadCell(detail::HostState& state, void* array, int index, long kind,
                     const char* service) {
    const ArrayData* data = LiveArray(state, array);
    const bool fits = data != nullptr &&
                      (kind == Kind::kArrayInt32 ? IsIntegerKind(data->kind) : data->kind == kind);
    if (array != nullptr && data != nullptr && !fits) {
        state.Fault(std::string(service) + " on an array of another kind");
        return nullptr;
    }
    return array != nullptr ? CellAt(state, array, index, service) : nullptr;
}

long ReadIntArray(void* array, int index) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeDirectReadIntArray", array, index);
    const Cell* cell = ReadCell(state, array, index, Kind::kArrayInt32, "RuntimeDirectReadIntArray");
    return cell != nullptr ? static_cast<long>(cell->integer) : 0;
}

ZYNEstring ReadStringArray(void* array, int index) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeDirectReadStringArray", array, index);
    const Cell* cell = ReadCell(state, array, index, Kind::kArrayString, "RuntimeDirectReadStringArray");
    return cell != nullptr ? static_cast<ZYNEstring>(cell->ref) : nullptr;
}

ZYNEobject ReadObjectArray(void* array, int index) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeDirectReadObjectArray", array, index);
    const Cell* cell = ReadCell(state, array, index, Kind::kArrayObject, "RuntimeDirectReadObjectArray");
    return cell != nullptr ? static_cast<ZYNEobject>(cell->ref) : nullptr;
}

void ReadStructureArray(void* array, int index, void* data) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeDirectReadStructureArray", array, index, data);
    state.Fault("RuntimeDirectReadStructureArray: this host has no structure arrays");
}

const detail::ServiceRow kArrayServices[] = {
    {"RuntimeArrayCreateSingleDimBoundedArray", reinterpret_cast<void*>(&CreateArray)},
    {"RuntimeUBound", reinterpret_cast<void*>(&UBound)},
    {"RuntimeDirectReadIntArray", reinterpret_cast<void*>(&ReadIntArray)},
    {"RuntimeDirectReadStringArray", reinterpret_cast<void*>(&ReadStringArray)},
    {"RuntimeDirectReadObjectArray", reinterpret_cast<void*>(&ReadObjectArray)},
    {"RuntimeDirectReadStructureArray", reinterpret_cast<void*>(&ReadStructureArray)},
    {"RuntimeArrayDirectGetInsertProc", reinterpret_cast<void*>(&GetInsertProc)},
    {"RuntimeArrayDirectGetGetProc", reinterpret_cast<void*>(&GetGetProc)},
    {"RuntimeArrayDirectGetSetProc", reinterpret_cast<void*>(&GetSetProc)},
};

}  // namespace

ZYNEclassDefinition& detail::ArrayClassRecord() {
    return gArrayClass;
}

std::span<const detail::ServiceRow> detail::ArrayServices() {
    return kArrayServices;
}

ZYNEobject ReferenceHost::NewIntegerArray(const std::vector<long long>& values, ArrayKind kind) {
    if (!IsIntegerKind(kind)) return nullptr;
    ZYNEobject array = MakeArray(*state_, kind, static_cast<long>(values.size()) - 1);
    if (ArrayData* data = LiveArray(*state_, array)) {
        for (size_t i = 0; i < values.size(); ++i) (*data->cells)[i].integer = Narrowed(kind, values[i]);
    }
    return array;
}

ZYNEobject ReferenceHost::NewStringArray(const std::vector<std::string>& texts) {
    ZYNEobject array = MakeArray(*state_, kArrayString, static_cast<long>(texts.size()) - 1);
    if (ArrayData* data = LiveArray(*state_, array)) {
        // Each new string's one reference is the array's.
        for (size_t i = 0; i < texts.size(); ++i) (*data->cells)[i].ref = NewString(texts[i]);
    }
    return array;
}

std::optional<std::vector<long long>> ReferenceHost::ArrayIntegers(ZYNEobject array) const {
    const ArrayData* data = LiveArray(*state_, array);
    if (data == nullptr || !IsIntegerKind(data->kind)) return std::nullopt;
    std::vector<long long> values;
    for (const Cell& cell : *data->cells) values.push_back(cell.integer);
    return values;
}

std::optional<std::vector<std::string>> ReferenceHost::ArrayStrings(ZYNEobject array) const {
    const ArrayData* data = LiveArray(*state_, array);
    if (data == nullptr || data->kind != kArrayString) return std::nullopt;
    std::vector<std::string> texts;
    for (const Cell& cell : *data->cells) texts.push_back(Text(static_cast<ZYNEstring>(cell.ref)));
    return texts;
}

}  // namespace zyne::host
