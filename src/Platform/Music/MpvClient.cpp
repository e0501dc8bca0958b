#include "Platform/Music/MpvClient.h"

#include "Support/Log.h"

#include <QLibrary>

namespace {

const MpvClient *loadClient()
{
    // libmpv.so.2 here, libmpv.2.dylib on macOS. Kept loaded for the life of the process.
    static QLibrary library(QStringLiteral("mpv"), 2);
    if (!library.load()) {
        LUMEVAR_ERROR(Log::playback(), "Failed to load libmpv: %@", library.errorString());
        return nullptr;
    }
    static MpvClient client;
    bool complete = true;
    const auto resolve = [&complete](auto &function, const char *name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(library.resolve(name));
        if (!function) {
            LUMEVAR_ERROR(Log::playback(), "Failed to load libmpv: it has no %@", name);
            complete = false;
        }
    };
    resolve(client.create, "mpv_create");
    resolve(client.initialize, "mpv_initialize");
    resolve(client.terminate_destroy, "mpv_terminate_destroy");
    resolve(client.set_option_string, "mpv_set_option_string");
    resolve(client.set_property_string, "mpv_set_property_string");
    resolve(client.get_property, "mpv_get_property");
    resolve(client.observe_property, "mpv_observe_property");
    resolve(client.request_log_messages, "mpv_request_log_messages");
    resolve(client.set_wakeup_callback, "mpv_set_wakeup_callback");
    resolve(client.wait_event, "mpv_wait_event");
    resolve(client.command, "mpv_command");
    resolve(client.command_ret, "mpv_command_ret");
    resolve(client.command_async, "mpv_command_async");
    resolve(client.free_node_contents, "mpv_free_node_contents");
    resolve(client.error_string, "mpv_error_string");
    return complete ? &client : nullptr;
}

} // namespace

const MpvClient *MpvClient::shared()
{
    static const MpvClient *const client = loadClient();
    return client;
}
