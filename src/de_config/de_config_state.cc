// Module state of the depth-engine configuration: what the last loads left.
#include "de_config/de_config_state.h"

namespace deflash {
namespace {
de_config_state g_de_config{};
}  // namespace

de_config_state& module_de_config() { return g_de_config; }

}  // namespace deflash
