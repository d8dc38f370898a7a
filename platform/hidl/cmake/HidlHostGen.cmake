# Build-time step of hidl_host_generate() for one package (cmake -P).
# Inputs: HIDL_GEN, ROOTS (entries separated by '|'), PACKAGE, PACKAGE_DIR,
# OUTPUT_DIR, GLUE.
#
# 1. hidl-gen -L c++-headers writes the package's headers; the binder and
#    passthrough headers (Bn*, Bp*, Bs*, IHw*, hwtypes.h) are removed because the
#    host has no binder transport.
# 2. hidl-gen -L hash gives each interface's hash for getHashChain().
# 3. Each I*.h is read back and the glue that the generated sources carry on a
#    device is written to GLUE: descriptor, IBase methods for a local object,
#    castFrom, service registration, and a proxy class through which another
#    "process" reaches the object (so tests can make it die).
# 4. For calls between processes: hostwire.h beside the headers lists every
#    struct's fields in order (read from hidl-gen's offsetof asserts), and the
#    glue gets, per interface, a proxy that marshals each method through the
#    generic templates of hidl/HidlHostRpc.h and a stub that serves them.
#    Which methods are oneway is read from the .hal files under ROOTS.

cmake_policy(SET CMP0057 NEW)  # if(IN_LIST)
string(REPLACE "|" ";" ROOTS "${ROOTS}")
set(_root_args)
foreach(_r IN LISTS ROOTS)
  list(APPEND _root_args -r ${_r})
endforeach()

execute_process(
    COMMAND ${HIDL_GEN} -L c++-headers -o ${OUTPUT_DIR} -R ${_root_args} ${PACKAGE}
    RESULT_VARIABLE _rc ERROR_VARIABLE _err OUTPUT_VARIABLE _out)
if(NOT _rc EQUAL 0)
  message(FATAL_ERROR "hidl-gen c++-headers ${PACKAGE} failed:\n${_out}${_err}")
endif()

set(_pkg_out ${OUTPUT_DIR}/${PACKAGE_DIR})
file(GLOB _transport_headers ${_pkg_out}/Bn*.h ${_pkg_out}/Bp*.h ${_pkg_out}/Bs*.h
     ${_pkg_out}/IHw*.h ${_pkg_out}/hwtypes.h)
if(_transport_headers)
  file(REMOVE ${_transport_headers})
endif()

# Each enum's hidl_enum_values specialisation is made inline: clang gives a
# constexpr variable template specialisation external linkage, so without it
# every unit that includes the header defines the same symbol.
file(GLOB _pkg_headers ${_pkg_out}/*.h)
foreach(_h IN LISTS _pkg_headers)
  file(READ ${_h} _t)
  string(REPLACE "template<> constexpr std::array<" "template<> inline constexpr std::array<" _t2 "${_t}")
  if(NOT _t2 STREQUAL _t)
    file(WRITE ${_h} "${_t2}")
  endif()
endforeach()

execute_process(
    COMMAND ${HIDL_GEN} -L hash -R ${_root_args} ${PACKAGE}
    RESULT_VARIABLE _rc ERROR_VARIABLE _err OUTPUT_VARIABLE _hashes)
if(NOT _rc EQUAL 0)
  message(FATAL_ERROR "hidl-gen hash ${PACKAGE} failed:\n${_err}")
endif()

string(REGEX MATCH "^([a-zA-Z0-9_.]+)@([0-9]+)\\.([0-9]+)$" _m "${PACKAGE}")
string(REPLACE "." "::" _namespace "${CMAKE_MATCH_1}")
set(_namespace "${_namespace}::V${CMAKE_MATCH_2}_${CMAKE_MATCH_3}")

set(H "::android::hardware")
set(D "${H}::details")
set(_includes "#include <hidl/HidlHostGlue.h>\n#include <hidl/HidlHostRpc.h>\n")

# Oneway methods of every interface under ROOTS, as "pkg@x.y::IFoo::method".
set(_oneway "")
foreach(_r IN LISTS ROOTS)
  string(REGEX REPLACE "^[^:]+:" "" _rdir "${_r}")
  file(GLOB_RECURSE _hals ${_rdir}/*.hal)
  foreach(_hal IN LISTS _hals)
    file(READ ${_hal} _htext)
    string(REGEX REPLACE "/\\*([^*]|\\*+[^*/])*\\*+/" "" _htext "${_htext}")
    string(REGEX REPLACE "//[^\n]*" "" _htext "${_htext}")
    if(NOT _htext MATCHES "package[ \t\n]+([a-zA-Z0-9_.]+@[0-9]+\\.[0-9]+)")
      continue()
    endif()
    set(_hpkg "${CMAKE_MATCH_1}")
    if(NOT _htext MATCHES "interface[ \t\n]+([A-Za-z0-9_]+)")
      continue()
    endif()
    set(_hiface "${CMAKE_MATCH_1}")
    string(REGEX MATCHALL "oneway[ \t\n]+[A-Za-z0-9_]+" _ows "${_htext}")
    foreach(_ow IN LISTS _ows)
      string(REGEX REPLACE "^oneway[ \t\n]+" "" _ow "${_ow}")
      list(APPEND _oneway "${_hpkg}::${_hiface}::${_ow}")
    endforeach()
  endforeach()
endforeach()

# hostwire.h: field visitors of the package's structs, in declaration order.
set(_wire_fields "")
set(_wire_includes "")
set(_imports "")
set(_wire_types "")
file(GLOB _pkg_headers ${_pkg_out}/types.h ${_pkg_out}/I*.h)
list(SORT _pkg_headers)
foreach(_ph IN LISTS _pkg_headers)
  get_filename_component(_phn ${_ph} NAME)
  string(APPEND _wire_includes "#include <${PACKAGE_DIR}/${_phn}>\n")
  file(STRINGS ${_ph} _plines)
  foreach(_pl IN LISTS _plines)
    if(_pl MATCHES "^#include <([a-z0-9_/]+/[0-9]+\\.[0-9]+)/[A-Za-z0-9_]+\\.h>")
      if(NOT CMAKE_MATCH_1 STREQUAL PACKAGE_DIR)
        list(APPEND _imports "${CMAKE_MATCH_1}")
      endif()
    elseif(_pl MATCHES "^static_assert\\(offsetof\\(([:A-Za-z0-9_]+), ([A-Za-z0-9_]+)\\) ==")
      if(NOT "${CMAKE_MATCH_1}" IN_LIST _wire_types)
        list(APPEND _wire_types "${CMAKE_MATCH_1}")
        string(MAKE_C_IDENTIFIER "${CMAKE_MATCH_1}" _tid)
        set(_fields_${_tid} "")
      endif()
      string(MAKE_C_IDENTIFIER "${CMAKE_MATCH_1}" _tid)
      string(APPEND _fields_${_tid} " f(v.${CMAKE_MATCH_2})@SEMI@")
    endif()
  endforeach()
endforeach()
if(_imports)
  list(REMOVE_DUPLICATES _imports)
endif()
foreach(_imp IN LISTS _imports)
  string(APPEND _wire_includes "#include <${_imp}/hostwire.h>\n")
endforeach()
foreach(_t IN LISTS _wire_types)
  string(MAKE_C_IDENTIFIER "${_t}" _tid)
  string(APPEND _wire_fields
      "template <typename V>\ninline void hidlWireFields(const ${_t}& v, V& f) {${_fields_${_tid}} }\n"
      "template <typename V>\ninline void hidlWireFields(${_t}& v, V& f) {${_fields_${_tid}} }\n")
endforeach()
string(MAKE_C_IDENTIFIER "${PACKAGE_DIR}" _guard)
string(TOUPPER "${_guard}" _guard)
string(CONCAT _wire
    "// Generated from the ${PACKAGE} headers by HidlHostGen.cmake. Do not edit.\n"
    "// The fields of each struct, in order, for hidl/HidlHostWire.h.\n"
    "#ifndef ${_guard}_HOSTWIRE_H\n#define ${_guard}_HOSTWIRE_H\n\n"
    "${_wire_includes}\n"
    "namespace ${_namespace} {\n\n"
    "${_wire_fields}"
    "\n}  // namespace ${_namespace}\n\n#endif\n")
string(REPLACE "@SEMI@" ";" _wire "${_wire}")
set(_wire_file ${_pkg_out}/hostwire.h)
# Rewritten only when it changes, so the glue that includes it is not rebuilt for nothing.
if(EXISTS ${_wire_file})
  file(READ ${_wire_file} _old_wire)
else()
  set(_old_wire "")
endif()
if(NOT _old_wire STREQUAL _wire)
  file(WRITE ${_wire_file} "${_wire}")
endif()
set(_body "")

file(GLOB _interface_headers ${_pkg_out}/I*.h)
list(SORT _interface_headers)
foreach(_header IN LISTS _interface_headers)
  get_filename_component(_iface ${_header} NAME_WE)
  string(APPEND _includes "#include <${PACKAGE_DIR}/${_iface}.h>\n")

  file(READ ${_header} _text)
  # One list element per line; ';' '[' ']' would confuse CMake lists.
  string(REPLACE ";" "@SEMI@" _text "${_text}")
  string(REPLACE "[" "@LB@" _text "${_text}")
  string(REPLACE "]" "@RB@" _text "${_text}")
  string(REPLACE "\n" ";" _lines "${_text}")

  set(_descriptor "")
  set(_chain "")
  set(_has_service FALSE)
  set(_methods "")
  set(_rpc_methods "")
  set(_rpc_cases "")
  set(_code 0)
  # The interface and its parents as the .hal files name them, for the oneway table.
  set(_chain_so_far "")
  foreach(_line IN LISTS _lines)
    if(_line MATCHES "castFrom\\(const ::android::sp<::([:A-Za-z0-9_]+)::V([0-9]+)_([0-9]+)::([A-Za-z0-9_]+)>& parent")
      string(REPLACE "::" "." _cpkg "${CMAKE_MATCH_1}")
      list(APPEND _chain_so_far "${_cpkg}@${CMAKE_MATCH_2}.${CMAKE_MATCH_3}::${CMAKE_MATCH_4}")
    endif()
  endforeach()
  foreach(_line IN LISTS _lines)
    if(_line MATCHES "Fully qualified interface name: \"([^\"]+)\"")
      set(_descriptor "${CMAKE_MATCH_1}")
    elseif(_line MATCHES "castFrom\\(const ::android::sp<([:A-Za-z0-9_]+)>& parent")
      list(APPEND _chain "${CMAKE_MATCH_1}")
    elseif(_line MATCHES "static ::android::sp<${_iface}> getService\\(const std::string &serviceName")
      set(_has_service TRUE)
    elseif(_line MATCHES "^    virtual ::android::hardware::Return<(.*)> ([A-Za-z0-9_]+)\\((.*)\\) = 0@SEMI@$")
      set(_ret "${CMAKE_MATCH_1}")
      set(_name "${CMAKE_MATCH_2}")
      set(_args "${CMAKE_MATCH_3}")
      string(REPLACE "@LB@" "[" _args "${_args}")
      string(REPLACE "@RB@" "]" _args "${_args}")
      string(REPLACE "@LB@" "[" _ret "${_ret}")
      string(REPLACE "@RB@" "]" _ret "${_ret}")
      # An argument's name is the identifier that ends it (before ", " or the end).
      string(REGEX MATCHALL "[ &*][A-Za-z_][A-Za-z0-9_]*(, |$)" _names "${_args}")
      set(_call "")
      foreach(_n IN LISTS _names)
        string(REGEX REPLACE "^[ &*]([A-Za-z0-9_]+).*$" "\\1" _n "${_n}")
        if(_call)
          string(APPEND _call ", ")
        endif()
        string(APPEND _call "${_n}")
      endforeach()
      string(APPEND _methods
          "    ${H}::Return<${_ret}> ${_name}(${_args}) override {\n"
          "        if (isDead()) return ${H}::details::deadObjectStatus();\n"
          "        return mImpl->${_name}(${_call});\n"
          "    }\n")
      math(EXPR _code "${_code} + 1")
      if(_call MATCHES "^(.*), _hidl_cb$" OR _call STREQUAL "_hidl_cb")
        set(_rpc_args "")
        if(_call MATCHES "^(.*), _hidl_cb$")
          set(_rpc_args ", ${CMAKE_MATCH_1}")
        endif()
        string(APPEND _rpc_methods
            "    ${H}::Return<${_ret}> ${_name}(${_args}) override {\n"
            "        return ${D}::rpcTransactCb(*mNode, ${_code}, _hidl_cb${_rpc_args})@SEMI@\n"
            "    }\n")
      else()
        set(_ow false)
        foreach(_c IN LISTS _chain_so_far)
          if("${_c}::${_name}" IN_LIST _oneway)
            set(_ow true)
          endif()
        endforeach()
        set(_rpc_args "")
        if(_call)
          set(_rpc_args ", ${_call}")
        endif()
        string(APPEND _rpc_methods
            "    ${H}::Return<${_ret}> ${_name}(${_args}) override {\n"
            "        return ${D}::rpcTransact<${_ret}>(*mNode, ${_code}, ${_ow}${_rpc_args})@SEMI@\n"
            "    }\n")
      endif()
      string(APPEND _rpc_cases
          "        case ${_code}: return ${D}::rpcServe(self, &${_iface}::${_name}, in, out)@SEMI@\n")
    endif()
  endforeach()
  if(NOT _descriptor OR NOT _chain)
    message(FATAL_ERROR "${_header}: not an interface header hidl-gen wrote")
  endif()

  string(REGEX MATCH "([0-9a-f]+) ${_descriptor}\n" _hm "${_hashes}")
  if(NOT _hm)
    message(FATAL_ERROR "no hash for ${_descriptor}")
  endif()
  set(_hash "${CMAKE_MATCH_1}")

  set(_chain_init "")
  foreach(_c IN LISTS _chain)
    if(_chain_init)
      string(APPEND _chain_init ", ")
    endif()
    string(APPEND _chain_init "${_c}::descriptor")
  endforeach()

  set(P "HostProxy_${_iface}")
  set(RP "RpcProxy_${_iface}")
  string(APPEND _body
      "// ---- ${_descriptor}\n\n"
      "const char* ${_iface}::descriptor(\"${_descriptor}\");\n\n"
      "namespace {\n"
      "const bool k${_iface}HashRegistered =\n"
      "        ${H}::details::registerInterfaceHash(\"${_descriptor}\", \"${_hash}\");\n\n"
      "// How another process reaches a ${_iface}: every call fails with DEAD_OBJECT once it died.\n"
      "class ${P} final : public ${H}::details::HostProxy<${_iface}> {\n"
      "public:\n"
      "    using ${H}::details::HostProxy<${_iface}>::HostProxy;\n"
      "${_methods}"
      "};\n\n"
      "// How another process reaches a ${_iface} over a socket.\n"
      "class ${RP} final : public ${D}::RpcProxy<${_iface}> {\n"
      "public:\n"
      "    using ${D}::RpcProxy<${_iface}>::RpcProxy;\n"
      "${_rpc_methods}"
      "};\n\n"
      "// Serves calls from another process on a local ${_iface}.\n"
      "${D}::RpcServeResult rpcStub_${_iface}(${H}::details::IBase* object, uint32_t code,\n"
      "        ${D}::WireParcel& in, ${D}::WireParcel& out) {\n"
      "    auto* self = dynamic_cast<${_iface}*>(object);\n"
      "    if (self == nullptr) return ${D}::RpcServeResult::kUnknownMethod;\n"
      "    switch (code) {\n"
      "${_rpc_cases}"
      "        default: return ${D}::rpcServeBase(object, code, in, out);\n"
      "    }\n"
      "}\n\n"
      "const bool k${_iface}RpcRegistered = ${D}::registerRpcInterface(\n"
      "        \"${_descriptor}\", &rpcStub_${_iface},\n"
      "        [](const ::android::sp<${D}::RpcNode>& node) -> ::android::sp<${H}::details::IBase> {\n"
      "            return new ${RP}(node);\n"
      "        });\n"
      "}  // namespace\n\n"
      "${H}::Return<void> ${_iface}::interfaceChain(interfaceChain_cb _hidl_cb) {\n"
      "    _hidl_cb(${H}::details::descriptorChain({${_chain_init}}));\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<void> ${_iface}::debug(const ${H}::hidl_handle& /*fd*/,\n"
      "        const ${H}::hidl_vec<${H}::hidl_string>& /*options*/) {\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<void> ${_iface}::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {\n"
      "    _hidl_cb(descriptor);\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<void> ${_iface}::getHashChain(getHashChain_cb _hidl_cb) {\n"
      "    _hidl_cb(${H}::details::hashChain({${_chain_init}}));\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<void> ${_iface}::setHALInstrumentation() {\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<bool> ${_iface}::linkToDeath(\n"
      "        const ::android::sp<${H}::hidl_death_recipient>& recipient, uint64_t cookie) {\n"
      "    return ${H}::details::localLinkToDeath(recipient, cookie);\n"
      "}\n\n"
      "${H}::Return<void> ${_iface}::ping() {\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<void> ${_iface}::getDebugInfo(getDebugInfo_cb _hidl_cb) {\n"
      "    _hidl_cb(${H}::details::localDebugInfo(this));\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<void> ${_iface}::notifySyspropsChanged() {\n"
      "    return ${H}::Void();\n"
      "}\n\n"
      "${H}::Return<bool> ${_iface}::unlinkToDeath(\n"
      "        const ::android::sp<${H}::hidl_death_recipient>& recipient) {\n"
      "    return ${H}::details::localUnlinkToDeath(recipient);\n"
      "}\n\n")
  foreach(_c IN LISTS _chain)
    string(APPEND _body
        "${H}::Return<::android::sp<${_iface}>> ${_iface}::castFrom(\n"
        "        const ::android::sp<${_c}>& parent, bool emitError) {\n"
        "    return ${H}::details::castInterface<${_iface}, ${P}>(parent, emitError);\n"
        "}\n\n")
  endforeach()
  if(_has_service)
    string(APPEND _body
        "::android::sp<${_iface}> ${_iface}::tryGetService(const std::string& serviceName, bool /*getStub*/) {\n"
        "    return ${H}::details::getServiceAs<${_iface}>(serviceName);\n"
        "}\n\n"
        "::android::sp<${_iface}> ${_iface}::getService(const std::string& serviceName, bool getStub) {\n"
        "    return tryGetService(serviceName, getStub);\n"
        "}\n\n"
        "::android::status_t ${_iface}::registerAsService(const std::string& serviceName) {\n"
        "    return ${H}::details::registerAsService(this, serviceName);\n"
        "}\n\n"
        "bool ${_iface}::registerForNotifications(const std::string& serviceName,\n"
        "        const ::android::sp<::android::hidl::manager::V1_0::IServiceNotification>& notification) {\n"
        "    return ${H}::details::registerForNotifications(descriptor, serviceName, notification);\n"
        "}\n\n")
  endif()
endforeach()

string(APPEND _includes "#include <${PACKAGE_DIR}/hostwire.h>\n")
string(REPLACE "@SEMI@" ";" _body "${_body}")
string(CONCAT _content
    "// Generated from the ${PACKAGE} headers by HidlHostGen.cmake. Do not edit.\n"
    "${_includes}\n"
    "namespace ${_namespace} {\n\n"
    "${_body}"
    "}  // namespace ${_namespace}\n")
file(WRITE ${GLUE} "${_content}")
