# SPDX-License-Identifier: Apache-2.0
"""The shipped definitions for Nagios and Icinga, in Nagios and Icinga."""
import getpass
import grp
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.environ["VKT_COMMAND_TESTS"])
from enclosures import COMMAND, TIMEOUT, Enclosure

# Debian has both where an ordinary user's shell does not look.
os.environ["PATH"] += ":/usr/sbin"
DEFINITIONS = pathlib.Path(os.environ["VKT_MONITORING"])
INSTALLED = "/usr/bin/vktinventory"
# Seconds for a check: below TIMEOUT, and far above what one takes that does not wait in vain.
AMPLE = 100

NAGIOS = """
log_file={folder}/log
object_cache_file={folder}/objects.cache
status_file={folder}/status
retain_state_information=0
command_file={folder}/commands
lock_file={folder}/lock
temp_file={folder}/temporary
temp_path={folder}
check_result_path={folder}/results
query_socket={folder}/queries
nagios_user={user}
nagios_group={group}
interval_length=1
service_inter_check_delay_method=n
service_check_timeout={timeout}
check_external_commands=0
check_for_updates=0
illegal_macro_output_chars=`~$&|'"<>
cfg_file={folder}/vktinventory.cfg
cfg_file={folder}/objects.cfg
"""

DAYS = ("sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday")
NAGIOS_OBJECTS = (
    """
define timeperiod {
    timeperiod_name 24x7
    alias           always
    """
    + "\n    ".join(f"{day} 00:00-24:00" for day in DAYS)
    + """
}
define contact {
    contact_name                  nobody
    host_notifications_enabled    0
    service_notifications_enabled 0
    host_notification_period      24x7
    service_notification_period   24x7
    host_notification_commands    check_vkt
    service_notification_commands check_vkt
}
define host {
    host_name          enclosure
    address            127.0.0.1
    max_check_attempts 1
    check_period       24x7
    contacts           nobody
}
"""
)

NAGIOS_SERVICE = """
define service {{
    use                 vkt-enclosure
    host_name           enclosure
    service_description {name}
    contacts            nobody
    max_check_attempts  1
    check_command       {command}
}}
"""

ICINGA = """
include "{folder}/vktinventory.conf"

object Host "enclosure" {{
  address = "127.0.0.1"
  check_command = "vktinventory"
  vars.vkt_user = "monitor"
  vars.vkt_password_file = "/etc/icinga2/vkt.password"
  vars.vkt_expect_psus = 6
  vars.vkt_critical = [ "power_average=4000" ]
}}

apply Service "enclosure" {{
  check_command = "vktinventory"
  assign where host.vars.vkt_user
}}
"""


class Monitoring(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def put(self, name, text):
        path = self.folder / name
        path.write_text(text)
        return str(path)

    def put_definitions(self, path):
        """As they are shipped, but for where the command is."""
        text = (DEFINITIONS / path).read_text()
        self.assertIn(INSTALLED, text)
        self.put(pathlib.Path(path).name, text.replace(INSTALLED, COMMAND))


class Nagios(Monitoring):
    def configure(self, services):
        self.put_definitions("nagios/vktinventory.cfg")
        (self.folder / "results").mkdir()
        group = grp.getgrgid(os.getgid()).gr_name
        self.put("objects.cfg", NAGIOS_OBJECTS + "".join(services))
        return self.put(
            "nagios.cfg", NAGIOS.format(folder=self.folder, user=getpass.getuser(), group=group, timeout=TIMEOUT)
        )

    def log(self):
        log = self.folder / "log"
        return log.read_text() if log.exists() else ""

    def wait_for(self, *alerts):
        deadline = time.monotonic() + TIMEOUT
        while not all(alert in self.log() for alert in alerts):
            self.assertLess(time.monotonic(), deadline, self.log())
            time.sleep(0.05)

    def test_accepts_the_definitions(self):
        service = NAGIOS_SERVICE.format(name="Enclosure", command="check_vkt_https!a!b!c!d")
        ran = subprocess.run(
            ["nagios4", "-v", self.configure([service])], capture_output=True, text=True
        )
        self.assertEqual(ran.returncode, 0, ran.stdout)
        self.assertIn("Total Warnings: 0\n", ran.stdout)

    def test_runs_checks_and_understands_them(self):
        with Enclosure("healthy-first") as healthy, Enclosure("faulty-first") as faulty:
            password = self.put("password", healthy.endpoint["password"] + "\n")
            services = []
            for name, enclosure, flags in (
                ("Fault", faulty, ""),
                ("Threshold", healthy, "-w power_average=@0:65535"),
                ("Usage", healthy, "-w power_average=20:10"),
            ):
                endpoint = enclosure.endpoint
                command = f"check_vkt!{endpoint['user']}!{password}!-t {AMPLE} -p {endpoint['port']} {flags}"
                services.append(NAGIOS_SERVICE.format(name=name, command=command))
            nagios = subprocess.Popen(
                ["nagios4", self.configure(services)],
                stdout=subprocess.DEVNULL,
                stderr=subprocess.STDOUT,
            )
            try:
                self.wait_for(
                    "SERVICE ALERT: enclosure;Fault;CRITICAL;HARD;1;VKT CRITICAL - PSU",
                    "SERVICE ALERT: enclosure;Threshold;WARNING;HARD;1;VKT WARNING - Chassis has a "
                    "power_average of ",
                    "SERVICE ALERT: enclosure;Usage;UNKNOWN;HARD;1;VKT UNKNOWN - ",
                )
            finally:
                nagios.terminate()
                nagios.wait(TIMEOUT)


class Icinga(Monitoring):
    def test_accepts_the_definitions(self):
        self.put_definitions("icinga2/vktinventory.conf")
        main = self.put("icinga2.conf", ICINGA.format(folder=self.folder))
        folders = [f"-D{name}={self.folder}" for name in ("DataDir", "LogDir", "CacheDir", "InitRunDir")]
        user, group = getpass.getuser(), grp.getgrgid(os.getgid()).gr_name
        ran = subprocess.run(
            ["icinga2", "daemon", "--validate", "--config", main, *folders]
            + [f"-DRunAsUser={user}", f"-DRunAsGroup={group}"],
            capture_output=True,
            text=True,
        )
        self.assertEqual(ran.returncode, 0, ran.stdout)
        self.assertIn("Instantiated 1 Service", ran.stdout)
        self.assertNotRegex(ran.stdout, "warning/|critical/")


if __name__ == "__main__":
    unittest.main()
