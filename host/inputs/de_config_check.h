// Checks of the depth-engine configuration files: the DPU mode files, the
// D2C groups and the IR pre-ISP (auto-exposure) groups.
#ifndef DEFLASH_HOST_DE_CONFIG_CHECK_H_
#define DEFLASH_HOST_DE_CONFIG_CHECK_H_

#include "config_checker.h"

namespace deflash_host {

void check_dpu(config_checking::checker& c);
void check_d2c(config_checking::checker& c);
void check_ir_pre(config_checking::checker& c);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_DE_CONFIG_CHECK_H_
