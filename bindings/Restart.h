#pragma once

// Included by the source that SIP generates for a module of this library or of a host. All code is
// in this header, so that it is compiled with the sip.h of that module.

#include <sip.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <vector>

namespace Utils::Bindings {

/// A copy of those tables of a generated module that the sip module changes when it registers the
/// generated module.
///
/// The sip module expects only one interpreter in the life of a process: the types stay marked as
/// registered, and pointers to the imported types overwrite the names of these types. A new
/// interpreter would find the generated module half registered. Therefore the tables are saved
/// before the first registration, and restored before each later one.
class ModuleTables
{
public:
    explicit ModuleTables(sipExportedModuleDef &module)
    {
        save(module.em_types, sizeof *module.em_types * std::size_t(module.em_nrtypes));
        for (int i = 0; i < module.em_nrtypes; ++i)
            if (sipTypeDef *const type = module.em_types[i])
                save(type, sizeOf(*type));
        for (sipImportedModuleDef *import = module.em_imports; import && import->im_name; ++import)
        {
            saveUpTo(import->im_imported_types,
                     [](const sipImportedTypeDef &type) { return !type.it_name; });
            saveUpTo(import->im_imported_veh, [](const sipImportedVirtErrorHandlerDef &handler) {
                return !handler.iveh_name;
            });
            saveUpTo(import->im_imported_exceptions,
                     [](const sipImportedExceptionDef &exception) { return !exception.iexc_name; });
        }
        saveUpTo(module.em_external, [](const sipExternalTypeDef &type) { return type.et_nr < 0; });
    }

    void putBack() const
    {
        for (const Snapshot &snapshot : m_snapshots)
            std::copy(snapshot.bytes.begin(), snapshot.bytes.end(), snapshot.address);
    }

private:
    struct Snapshot
    {
        char *address;
        std::vector<char> bytes;
    };

    static std::size_t sizeOf(const sipTypeDef &type)
    {
        if (sipTypeIsMapped(&type))
            return sizeof(sipMappedTypeDef);
        if (sipTypeIsEnum(&type) || sipTypeIsScopedEnum(&type))
            return sizeof(sipEnumTypeDef);
        return sizeof(sipClassTypeDef);
    }

    void save(void *address, std::size_t size)
    {
        char *const bytes = static_cast<char *>(address);
        m_snapshots.push_back({bytes, std::vector<char>(bytes, bytes + size)});
    }

    /// Saves a table, which may be null, up to the entry that marks its end.
    template <typename Entry, typename IsEnd>
    void saveUpTo(Entry *table, IsEnd isEnd)
    {
        if (!table)
            return;
        std::size_t size = 0;
        while (!isEnd(table[size]))
            ++size;
        save(table, size * sizeof(Entry));
    }

    std::vector<Snapshot> m_snapshots;
};

/// Prepares the registration of \p module in the running interpreter, which may be a new one after
/// an earlier one was finalised. False when no interpreter runs, or when the module is registered
/// in the running one already. Call it first in the module's init function, in its
/// %PreInitialisationCode, and setStarted() in its %PostInitialisationCode:
///
///     if (!Utils::Bindings::prepare(sipModuleAPI_Host, "_Host_started"))
///         return;
///
///     Utils::Bindings::setStarted(sipAPI_Host, "_Host_started");
///
/// \p mark is the name of an entry of `sys` that marks the module as registered in this
/// interpreter: a second registration would damage it.
inline bool prepare(sipExportedModuleDef &module, const char *mark)
{
    static std::map<sipExportedModuleDef *, ModuleTables> known;

    if (!Py_IsInitialized())
        return false;
    PyErr_Clear();
    if (PySys_GetObject(const_cast<char *>(mark)))
        return false;

    const auto [tables, isFirst] = known.try_emplace(&module, module);
    if (!isFirst)
        tables->second.putBack();

    // The first import of sip in a new interpreter raises an AttributeError, as it calls a function
    // of the previous interpreter. The module is complete nevertheless: the next import returns it.
    PyObject *const sip = PyImport_ImportModule("sip");
    PyErr_Clear();
    Py_XDECREF(sip);
    return true;
}

/// Stores in the running interpreter that the module is registered. \p sip is the API of the sip
/// module, and \p mark is the name that was passed to prepare().
inline void setStarted(const sipAPIDef *sip, const char *mark)
{
    // Objects in reference cycles, and what they wrap, would survive the interpreter. They are
    // collected when it clears `sys`, and so the mark, after every other module.
    PyObject *const collector =
        PyCapsule_New(const_cast<sipAPIDef *>(sip), nullptr, [](PyObject *) { PyGC_Collect(); });
    PySys_SetObject(const_cast<char *>(mark), collector);
    Py_XDECREF(collector);

    // Objects that cannot be collected, such as cycles with a __del__, do survive, and would look
    // themselves up in a map that sip frees now. So each is marked as not in that map, once for all
    // modules.
    static const sipAPIDef *api = nullptr;
    char atExit[] = "_KelmUtils_forgets_wrappers";
    if (PySys_GetObject(atExit))
        return;
    PySys_SetObject(atExit, Py_True);
    api = sip;
    Py_AtExit([] {
        api->api_visit_wrappers([](sipSimpleWrapper *wrapper, void *) { sipSetNotInMap(wrapper); },
                                nullptr);
    });
}

} // namespace Utils::Bindings
