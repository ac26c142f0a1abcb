// The download manager's section of the device's configuration file.
#ifndef KORVO_SERVICES_SETTINGS_H
#define KORVO_SERVICES_SETTINGS_H

namespace korvo {

constexpr const char *settings_section = "BTDownload";

} // namespace korvo

#endif
