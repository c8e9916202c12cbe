#include "quillshadectl/SessionBus.h"

#include "quillshadectl/Fault.h"

#include <cerrno>
#include <memory>
#include <system_error>

#include <systemd/sd-bus.h>

namespace nomara::ctl {

namespace {

constexpr const char* serviceName = "com.brindlewick.Quillshade";
constexpr const char* objectPath = "/com/brindlewick/Quillshade";
constexpr const char* interfaceName = "com.brindlewick.Quillshade1";

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;
using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

struct BusError {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    BusError() = default;
    ~BusError() { sd_bus_error_free(&error); }
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;

    bool is(const char* name) const { return sd_bus_error_has_name(&error, name) > 0; }
};

Bus connect() {
    sd_bus* bus = nullptr;
    const int result = sd_bus_open_user(&bus);
    if (result == -ENOMEDIUM)
        throw Fault("There is no session bus to ask on (DBUS_SESSION_BUS_ADDRESS and XDG_RUNTIME_DIR are not set).");
    if (result < 0)
        throw Fault("The session bus can't be reached, so there is nobody to ask (" +
                    std::generic_category().message(-result) + ").");
    return {bus, sd_bus_flush_close_unref};
}

Message request(sd_bus* bus) {
    sd_bus_message* message = nullptr;
    const int result = sd_bus_message_new_method_call(bus, &message, serviceName, objectPath, interfaceName, "Status");
    Message owned(message, sd_bus_message_unref);
    if (result < 0 || sd_bus_message_set_auto_start(message, 0) < 0)
        throw Fault("The question to the running program can't be put together.");
    return owned;
}

} // namespace

std::optional<std::string> askRunningProgram(std::uint64_t microseconds) {
    const Bus bus = connect();
    const Message question = request(bus.get());
    BusError failure;
    sd_bus_message* reply = nullptr;
    const int result = sd_bus_call(bus.get(), question.get(), microseconds, &failure.error, &reply);
    const Message answer(reply, sd_bus_message_unref);
    if (result < 0) {
        if (failure.is(SD_BUS_ERROR_SERVICE_UNKNOWN) || failure.is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) return std::nullopt;
        if (result == -ETIMEDOUT || failure.is(SD_BUS_ERROR_NO_REPLY) || failure.is(SD_BUS_ERROR_TIMEOUT))
            throw Fault("Quillshade runs, but gives no answer.");
        throw Fault("Quillshade could not be asked (" +
                    (failure.error.message != nullptr ? std::string(failure.error.message)
                                                      : std::generic_category().message(-result)) +
                    ").");
    }
    const char* text = nullptr;
    if (sd_bus_message_read(answer.get(), "s", &text) < 0)
        throw Fault("Quillshade gave an answer that isn't understood; is it of another version?");
    return text;
}

} // namespace nomara::ctl
