# SPDX-License-Identifier: Apache-2.0
# Completes the arguments of vel-posture in fish.

complete -c vel-posture -f
complete -c vel-posture -s h -l help -d 'Print a help text'
complete -c vel-posture -n __fish_use_subcommand -l version -d 'Print the version'
complete -c vel-posture -n __fish_use_subcommand -a check -d 'Run a request document'
complete -c vel-posture -n __fish_use_subcommand -a identity -d 'Ask for the identity values of the machine'
complete -c vel-posture -n __fish_use_subcommand -a lint -d 'Report likely mistakes in a request document'
complete -c vel-posture -n __fish_use_subcommand -a catalogue -d 'List the check types with their required parameters'

complete -c vel-posture -n '__fish_seen_subcommand_from check lint' -F
complete -c vel-posture -n '__fish_seen_subcommand_from identity' -a 'device_serial_number device_id'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity lint catalogue' -l format -x -a 'json text' -d 'How to write the answer'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity' -l machine -r -F -d 'Ask the Mac that a file describes'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity' -l log -r -F -d 'Append the log to a file'
