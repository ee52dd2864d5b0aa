// What a service does once it runs, whatever starts and ends it.
#pragma once

#include "vcard/host/server.h"
#include "vcard/program/control.h"
#include "vcard/program/service.h"

#include <functional>
#include <string>

namespace tarn::vcard {

std::string log_path(const std::string &directory);

// "2 cards in /run/pci_tarn"
std::string what_is_served(const ServiceOptions &options);

// One line with the time, on standard error. Callable from any thread.
void log_line(const std::string &line);

// Serves the cards and answers on the control channel until it is destroyed.
class Service {
  public:
    // `end` is called when a client asks for the end.
    Service(const ServiceOptions &options, std::function<void()> end);

  private:
    ControlAnswer handle(const ControlRequest &request);
    Firmware &card(const std::string &number);
    void after(const ControlRequest &request) const;
    std::string status();

    std::function<void()> end_;
    Server server_;
    ControlServer control_;
};

// Ends the process at once, without any clean-up.
[[noreturn]] void die();

// What a background process tells the one that started it: nothing when it died.
class StartReport {
  public:
    static std::string ready();
    static std::string failed(const std::exception &error);
    // Throws what the report says, unless it says ready().
    static void check(const std::string &report, const ServiceOptions &options);
};

} // namespace tarn::vcard
