#pragma once
// The functions of libmpv, loaded when playback first needs them rather than linked: libmpv and
// the codec libraries it pulls in take about 40 MB of resident pages the moment they are loaded,
// which a library that is only browsed never needs.

#include <mpv/client.h>

struct MpvClient {
    decltype(&::mpv_create) create;
    decltype(&::mpv_initialize) initialize;
    decltype(&::mpv_terminate_destroy) terminate_destroy;
    decltype(&::mpv_set_option_string) set_option_string;
    decltype(&::mpv_set_property_string) set_property_string;
    decltype(&::mpv_get_property) get_property;
    decltype(&::mpv_observe_property) observe_property;
    decltype(&::mpv_request_log_messages) request_log_messages;
    decltype(&::mpv_set_wakeup_callback) set_wakeup_callback;
    decltype(&::mpv_wait_event) wait_event;
    decltype(&::mpv_command) command;
    decltype(&::mpv_command_ret) command_ret;
    decltype(&::mpv_command_async) command_async;
    decltype(&::mpv_free_node_contents) free_node_contents;
    decltype(&::mpv_error_string) error_string;

    // Loads libmpv on the first call; the same table from then on. nullptr when the library or
    // one of its functions is missing, which is logged once.
    static const MpvClient *shared();
};
