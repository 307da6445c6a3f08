#pragma once

// For the source that SIP generates of a module of this library or of a host's own. It knows the
// sip module's structures, so it is a header, and it is compiled with the sip.h of that module.

#include <sip.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <vector>

namespace Utils::Bindings {

/// What the sip module changes in the tables of a generated module when it registers it.
///
/// It counts on one interpreter a process: types keep the mark that they have been made, and the
/// names of imported ones are overwritten by what they lead to. A new interpreter would find the
/// module half registered. So the tables are kept as they are before the first time, and put back
/// before every other one.
class ModuleTables
{
public:
    explicit ModuleTables(sipExportedModuleDef &module)
    {
        keep(module.em_types, sizeof *module.em_types * std::size_t(module.em_nrtypes));
        for (int i = 0; i < module.em_nrtypes; ++i)
            if (sipTypeDef *const type = module.em_types[i])
                keep(type, sizeOf(*type));
        for (sipImportedModuleDef *import = module.em_imports; import && import->im_name; ++import)
        {
            keepUpTo(import->im_imported_types,
                     [](const sipImportedTypeDef &type) { return !type.it_name; });
            keepUpTo(import->im_imported_veh, [](const sipImportedVirtErrorHandlerDef &handler) {
                return !handler.iveh_name;
            });
            keepUpTo(import->im_imported_exceptions,
                     [](const sipImportedExceptionDef &exception) { return !exception.iexc_name; });
        }
        keepUpTo(module.em_external, [](const sipExternalTypeDef &type) { return type.et_nr < 0; });
    }

    void putBack() const
    {
        for (const Block &block : m_blocks)
            std::copy(block.bytes.begin(), block.bytes.end(), block.place);
    }

private:
    struct Block
    {
        char *place;
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

    void keep(void *place, std::size_t size)
    {
        char *const bytes = static_cast<char *>(place);
        m_blocks.push_back({bytes, std::vector<char>(bytes, bytes + size)});
    }

    /// Keeps a table, which may be null, up to the entry that is its end.
    template <typename Entry, typename IsEnd>
    void keepUpTo(Entry *table, IsEnd isEnd)
    {
        if (!table)
            return;
        std::size_t size = 0;
        while (!isEnd(table[size]))
            ++size;
        keep(table, size * sizeof(Entry));
    }

    std::vector<Block> m_blocks;
};

/// Whether \p module is to be registered now: an interpreter runs in which it has not been, which
/// may follow another one that has been finalised. Called first in the module's init function, as
/// its %PreInitialisationCode, with setStarted() in its %PostInitialisationCode:
///
///     if (!Utils::Bindings::prepare(sipModuleAPI_Host, "_Host_started"))
///         return;
///
///     Utils::Bindings::setStarted(sipAPI_Host, "_Host_started");
///
/// \p mark is an entry of `sys` by which an interpreter is known to have the module; registering
/// it twice would damage it.
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
    // that it has kept from the interpreter before. The module is whole nevertheless, and the next
    // import gives it.
    PyObject *const sip = PyImport_ImportModule("sip");
    PyErr_Clear();
    Py_XDECREF(sip);
    return true;
}

/// Notes that the module of \p mark is registered with \p sip.
inline void setStarted(const sipAPIDef *sip, const char *mark)
{
    // Objects in circles, and what they wrap, would live on when the interpreter ends. They are
    // collected when that clears `sys`, and so the mark, behind every other module.
    PyObject *const collector =
        PyCapsule_New(const_cast<sipAPIDef *>(sip), nullptr, [](PyObject *) { PyGC_Collect(); });
    PySys_SetObject(const_cast<char *>(mark), collector);
    Py_XDECREF(collector);

    // What cannot be collected, such as circles with a __del__, does live on, and would look itself
    // up in a map that sip frees now. So it is told that it is not in it, once for all modules.
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
