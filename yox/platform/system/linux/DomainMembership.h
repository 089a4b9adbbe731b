#pragma once

#include <string_view>
#include <vector>

// Signs that a Linux device belongs to a domain, in the configuration of the programs that make it
// a member. All are pure, and false for what cannot be read.
namespace yox::platform {

// SSSD: a domain of Active Directory or FreeIPA is configured and enabled. `files` are the contents
// of sssd.conf and its snippets, in the order in which SSSD reads them; later settings win.
bool SssdHasDomain(const std::vector<std::string_view>& files);

// Samba's winbind: smb.conf says that this host is a member ("security = ads" or "domain").
bool WinbindHasDomain(std::string_view smb_conf);

// Kerberos: the keytab has the key of a machine's account, "NAME$@REALM" in Active Directory and
// "host/NAME@REALM" elsewhere. Reads MIT's file format, version 0x0502.
bool KeytabHasMachine(std::string_view keytab);

}  // namespace yox::platform
