#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The questions of whole-program.py, asked with bare tools and grep: the lower limit of that
# measurement. It handles no errors, time-outs or unexpected output.
#
# usage: five-questions.sh FOLDER-OF-HELPER-PROGRAMS

tools=$1
"$tools/process-listing" -axc | grep -qi 'sample-agent$' && echo process
grep -q '^VERSION_ID="12"' /etc/os-release && echo version
"$tools/firewall-state" --getglobalstate | grep -q 'State = 1' && echo firewall
lsblk --raw --noheadings --output TYPE,MOUNTPOINT | grep -q '^crypt' && echo disks
cat /sys/class/dmi/id/product_serial 2>/dev/null || systemd-id128 machine-id
exit 0
