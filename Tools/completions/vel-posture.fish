# SPDX-License-Identifier: Apache-2.0
# Completes the arguments of vel-posture in fish.

complete -c vel-posture -f
complete -c vel-posture -s h -l help -d 'Print a help text'
complete -c vel-posture -n __fish_use_subcommand -l version -d 'Print the version'
complete -c vel-posture -n __fish_use_subcommand -a check -d 'Run request documents'
complete -c vel-posture -n __fish_use_subcommand -a identity -d 'Ask for the identity values of the machine'
complete -c vel-posture -n __fish_use_subcommand -a lint -d 'Report likely mistakes in request documents'
complete -c vel-posture -n __fish_use_subcommand -a describe -d 'Describe this machine in a file'
complete -c vel-posture -n __fish_use_subcommand -a catalogue -d 'List the check types with their required parameters'
complete -c vel-posture -n __fish_use_subcommand -a doctor -d 'Say what this account can ask on this machine'

complete -c vel-posture -n '__fish_seen_subcommand_from check lint' -F
complete -c vel-posture -n '__fish_seen_subcommand_from identity' -a 'device_serial_number device_id'
complete -c vel-posture -n '__fish_seen_subcommand_from check' -l format -x -a 'json text junit prometheus' -d 'How to write the results'
complete -c vel-posture -n '__fish_seen_subcommand_from identity lint catalogue doctor' -l format -x -a 'json text' -d 'How to write the answer'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity describe' -l machine -r -F -d 'Ask the Mac that a file describes'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity' -l envelope -d 'Put each JSON result into an envelope'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity describe' -l output -r -F -d 'Write to a file'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity' -l log -r -F -d 'Append the log to a file'
complete -c vel-posture -n '__fish_seen_subcommand_from check identity' -l log-level -x -a 'trace information warning error' -d 'The least level of what is logged'
complete -c vel-posture -n '__fish_seen_subcommand_from check' -l record -r -F -d 'Describe the machine as it answered in a file'
complete -c vel-posture -n '__fish_seen_subcommand_from describe' -l for -r -F -d 'Also ask what a request needs'
complete -c vel-posture -n '__fish_seen_subcommand_from check describe' -l redact -d 'Leave out of the description what no request asks for'
complete -c vel-posture -n '__fish_seen_subcommand_from check' -l require-checks -d 'Exit status 2 for a request without checks'
complete -c vel-posture -n '__fish_seen_subcommand_from check' -l strict-exit -d 'Exit status 3 if checks only ended in errors'
complete -c vel-posture -n '__fish_seen_subcommand_from check' -l only-failing -d 'Leave checks that passed out of the text report'
complete -c vel-posture -n '__fish_seen_subcommand_from check' -l explain -d 'Say of each check what was found'
complete -c vel-posture -n '__fish_seen_subcommand_from check' -l quiet -d 'Write nothing to standard output'
complete -c vel-posture -n '__fish_seen_subcommand_from lint' -l fail-on -x -a 'error warning note' -d 'The least severity for exit status 1'
