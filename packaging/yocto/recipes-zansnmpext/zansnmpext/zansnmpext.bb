# zansnmpext for Yocto, built from the source tree that this layer lies in:
#
#   bitbake-layers add-layer <source tree>/packaging/yocto
#   in local.conf or the image: IMAGE_INSTALL:append = " zansnmpext"
#
# This was never built by a real BitBake. What a test does with it: its variables are read by a parser of the test's
# own, CMake is run with its options and this machine's compiler, what is installed is divided by its FILES, and its
# test of the target runs here in private namespaces.
SUMMARY = "Module of snmpd that serves a cellular router's MIB"
DESCRIPTION = "Adds a cellular router's own objects and notifications to the SNMP agent, read on demand from the \
router's local management API."
SECTION = "net"
LICENSE = "Proprietary"
LIC_FILES_CHKSUM = "file://packaging/debian/copyright;md5=570e8a7e1206fc1f3d7a536a711cb7b7"

# The version is the sources' own. No vulnerability is filed under this name so far; those of the libraries are theirs.
PV = "${@__import__('re').search(r'(?m)^  VERSION (\S+)$', open(d.getVar('EXTERNALSRC') + '/CMakeLists.txt').read())[1]}"
CVE_PRODUCT = "zansnmpext"

DEPENDS = "curl jsoncpp net-snmp"

inherit externalsrc cmake ptest

EXTERNALSRC ?= "${@os.path.realpath(d.getVar('THISDIR') + '/../../../..')}"
EXTERNALSRC_BUILD = "${WORKDIR}/build"
SRC_URI += "file://run-ptest"
FILESEXTRAPATHS:prepend := "${THISDIR}/files:"

# The maker's IANA private enterprise number: in every OID, and the key of the event queue.
ZAN_ENTERPRISE_NUMBER ?= "32473"
ZAN_SECURITY_CONTACT ?= "zansnmpext-security@example.com"

EXTRA_OECMAKE = "\
    -DZAN_DEBIAN_PACKAGES=OFF \
    -DZAN_ENTERPRISE_NUMBER=${ZAN_ENTERPRISE_NUMBER} \
    -DZAN_SECURITY_CONTACT=${ZAN_SECURITY_CONTACT} \
    -DZAN_SMALL=ON \
"

do_install:append() {
    # Which every Net-SNMP reads beside snmpd.conf: the agent of an image loads the module from its first start.
    install -d ${D}${sysconfdir}/snmp
    ln -s ../zansnmpext/snmpd.conf ${D}${sysconfdir}/snmp/snmpd.local.conf
}

do_install_ptest() {
    sed -i 's/@ZAN_ENTERPRISE_NUMBER@/${ZAN_ENTERPRISE_NUMBER}/; s|@libdir@|${libdir}|' ${D}${PTEST_PATH}/run-ptest
}

PACKAGES =+ "${PN}-host ${PN}-mib ${PN}-sim"

FILES:${PN} += "${libdir}/snmp/dlmod/zansnmpext.so"
FILES:${PN}-host = "\
    ${libdir}/snmp/dlmod/zanhost.so \
    ${prefix}/lib/systemd/system/zansnmpext-host.service \
    ${sysconfdir}/init.d/zansnmpext-host \
    ${sysconfdir}/zansnmpext/host.conf \
    ${sysconfdir}/zansnmpext/master.conf \
"
FILES:${PN}-mib = "${datadir}/snmp/mibs ${datadir}/doc/zansnmpext-mib"
FILES:${PN}-sim = "${bindir}/zan-router-sim ${datadir}/zansnmpext"
CONFFILES:${PN}-host = "${sysconfdir}/zansnmpext/host.conf ${sysconfdir}/zansnmpext/master.conf"
CONFFILES:${PN} = "${sysconfdir}/zansnmpext/snmpd.conf"

RDEPENDS:${PN} = "net-snmp-server-snmpd"
RDEPENDS:${PN}-host = "${PN}"
RDEPENDS:${PN}-ptest += "net-snmp-client"
RDEPENDS:${PN}-sim = "python3-core"
