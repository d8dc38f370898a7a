"""Writes a package's hostwire.h and glue .cpp from its Package record.

The glue is what a device gets from hidl-gen's generated sources, for the host
runtime: descriptor and hash registration, the IBase methods of a local object,
castFrom, service registration, an in-process proxy (HostProxy_<I>, so tests
can make an object "die"), and for calls between processes an RPC proxy and
stub whose bodies call the generic templates of hidl/HidlHostRpc.h.
"""

H = "::android::hardware"
D = H + "::details"
ORIGIN = "// Generated from the %s headers by hidl_host_gen.py. Do not edit.\n"


def hostwire(pkg):
    guard = "".join(c if c.isalnum() else "_" for c in pkg.directory).upper()
    out = [ORIGIN % pkg.name,
           "// The fields of each struct, in order, for hidl/HidlHostWire.h.\n",
           "#ifndef %s_HOSTWIRE_H\n#define %s_HOSTWIRE_H\n\n" % (guard, guard)]
    out += ["#include <%s/%s>\n" % (pkg.directory, h) for h in pkg.headers]
    out += ["#include <%s/hostwire.h>\n" % d for d in pkg.imports]
    out.append("\nnamespace %s {\n\n" % pkg.namespace)
    for s in pkg.structs:
        body = "".join(" f(v.%s);" % f for f in s.fields)
        for const in ("const ", ""):
            out.append("template <typename V>\ninline void hidlWireFields(%s%s& v, V& f) {%s }\n"
                       % (const, s.cpp_name, body))
    out.append("\n}  // namespace %s\n\n#endif\n" % pkg.namespace)
    return "".join(out)


def _signature(m):
    return "    %s::Return<%s> %s(%s) override {\n" % (H, m.cpp.cpp_return, m.name, m.cpp.cpp_params)


def _host_proxy_method(m):
    call = ", ".join(m.cpp.param_names)
    return (_signature(m) +
            "        if (isDead()) return %s::deadObjectStatus();\n" % D +
            "        return mImpl->%s(%s);\n" % (m.name, call) +
            "    }\n")


def _rpc_proxy_method(m):
    args = "".join(", " + a.name for a in m.hal.args)
    if m.callback:
        body = "%s::rpcTransactCb(*mNode, %d, _hidl_cb%s)" % (D, m.code, args)
    else:
        body = "%s::rpcTransact<%s>(*mNode, %d, %s%s)" % (
            D, m.cpp.cpp_return, m.code, "true" if m.hal.oneway else "false", args)
    return _signature(m) + "        return %s;\n    }\n" % body


_IBASE_METHODS = """\
{H}::Return<void> {I}::interfaceChain(interfaceChain_cb _hidl_cb) {{
    _hidl_cb({H}::details::descriptorChain({{{chain}}}));
    return {H}::Void();
}}

{H}::Return<void> {I}::debug(const {H}::hidl_handle& /*fd*/,
        const {H}::hidl_vec<{H}::hidl_string>& /*options*/) {{
    return {H}::Void();
}}

{H}::Return<void> {I}::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {{
    _hidl_cb(descriptor);
    return {H}::Void();
}}

{H}::Return<void> {I}::getHashChain(getHashChain_cb _hidl_cb) {{
    _hidl_cb({H}::details::hashChain({{{chain}}}));
    return {H}::Void();
}}

{H}::Return<void> {I}::setHALInstrumentation() {{
    return {H}::Void();
}}

{H}::Return<bool> {I}::linkToDeath(
        const ::android::sp<{H}::hidl_death_recipient>& recipient, uint64_t cookie) {{
    return {H}::details::localLinkToDeath(recipient, cookie);
}}

{H}::Return<void> {I}::ping() {{
    return {H}::Void();
}}

{H}::Return<void> {I}::getDebugInfo(getDebugInfo_cb _hidl_cb) {{
    _hidl_cb({H}::details::localDebugInfo(this));
    return {H}::Void();
}}

{H}::Return<void> {I}::notifySyspropsChanged() {{
    return {H}::Void();
}}

{H}::Return<bool> {I}::unlinkToDeath(
        const ::android::sp<{H}::hidl_death_recipient>& recipient) {{
    return {H}::details::localUnlinkToDeath(recipient);
}}

"""

_CAST_FROM = """\
{H}::Return<::android::sp<{I}>> {I}::castFrom(
        const ::android::sp<{parent}>& parent, bool emitError) {{
    return {H}::details::castInterface<{I}, HostProxy_{I}>(parent, emitError);
}}

"""

_SERVICE = """\
::android::sp<{I}> {I}::tryGetService(const std::string& serviceName, bool /*getStub*/) {{
    return {H}::details::getServiceAs<{I}>(serviceName);
}}

::android::sp<{I}> {I}::getService(const std::string& serviceName, bool getStub) {{
    return tryGetService(serviceName, getStub);
}}

::android::status_t {I}::registerAsService(const std::string& serviceName) {{
    return {H}::details::registerAsService(this, serviceName);
}}

bool {I}::registerForNotifications(const std::string& serviceName,
        const ::android::sp<::android::hidl::manager::V1_0::IServiceNotification>& notification) {{
    return {H}::details::registerForNotifications(descriptor, serviceName, notification);
}}

"""


def _interface(i):
    I = i.name
    desc = i.descriptor
    out = [
        "// ---- %s\n\n" % desc,
        'const char* %s::descriptor("%s");\n\n' % (I, desc),
        "namespace {\n",
        "const bool k%sHashRegistered =\n" % I,
        '        %s::registerInterfaceHash("%s", "%s");\n\n' % (D, desc, i.hash),
        "// How another process reaches a %s: every call fails with DEAD_OBJECT once it died.\n" % I,
        "class HostProxy_%s final : public %s::HostProxy<%s> {\n" % (I, D, I),
        "public:\n",
        "    using %s::HostProxy<%s>::HostProxy;\n" % (D, I)]
    out += [_host_proxy_method(m) for m in i.methods]
    out += [
        "};\n\n",
        "// How another process reaches a %s over a socket.\n" % I,
        "class RpcProxy_%s final : public %s::RpcProxy<%s> {\n" % (I, D, I),
        "public:\n",
        "    using %s::RpcProxy<%s>::RpcProxy;\n" % (D, I)]
    out += [_rpc_proxy_method(m) for m in i.methods]
    out += [
        "};\n\n",
        "// Serves calls from another process on a local %s.\n" % I,
        "%s::RpcServeResult rpcStub_%s(%s::IBase* object, uint32_t code,\n" % (D, I, D),
        "        %s::WireParcel& in, %s::WireParcel& out) {\n" % (D, D),
        "    auto* self = dynamic_cast<%s*>(object);\n" % I,
        "    if (self == nullptr) return %s::RpcServeResult::kUnknownMethod;\n" % D,
        "    switch (code) {\n"]
    out += ["        case %d: return %s::rpcServe(self, &%s::%s, in, out);\n" % (m.code, D, I, m.name)
            for m in i.methods]
    out += [
        "        default: return %s::rpcServeBase(object, code, in, out);\n" % D,
        "    }\n",
        "}\n\n",
        "const bool k%sRpcRegistered = %s::registerRpcInterface(\n" % (I, D),
        '        "%s", &rpcStub_%s,\n' % (desc, I),
        "        [](const ::android::sp<%s::RpcNode>& node) -> ::android::sp<%s::IBase> {\n" % (D, D),
        "            return new RpcProxy_%s(node);\n" % I,
        "        });\n",
        "}  // namespace\n\n"]
    chain = ", ".join(c + "::descriptor" for c in i.chain)
    out.append(_IBASE_METHODS.format(H=H, I=I, chain=chain))
    out += [_CAST_FROM.format(H=H, I=I, parent=p) for p in i.chain]
    if i.has_service:
        out.append(_SERVICE.format(H=H, I=I))
    return "".join(out)


def glue(pkg):
    out = [ORIGIN % pkg.name,
           "#include <hidl/HidlHostGlue.h>\n#include <hidl/HidlHostRpc.h>\n"]
    out += ["#include <%s/%s.h>\n" % (pkg.directory, i.name) for i in pkg.interfaces]
    out.append("#include <%s/hostwire.h>\n\n" % pkg.directory)
    out.append("namespace %s {\n\n" % pkg.namespace)
    out += [_interface(i) for i in pkg.interfaces]
    out.append("}  // namespace %s\n" % pkg.namespace)
    return "".join(out)
