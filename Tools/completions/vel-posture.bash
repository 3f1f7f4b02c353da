# SPDX-License-Identifier: Apache-2.0
# Completes the arguments of vel-posture in bash (4.3 and later).

_vel_posture() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command= words=
    local run='-h --help --machine --format --envelope --output --log --log-level'
    ((COMP_CWORD > 1)) && command=${COMP_WORDS[1]}
    COMPREPLY=()
    # "--format=json" is three words here.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    case $command:$previous in
    check:--format) words='json text junit prometheus' ;;
    *:--format) words='json text' ;;
    *:--summary) words='text json html' ;;
    *:--log-level) words='trace information warning error' ;;
    *:--fail-on) words='error warning note' ;;
    *:--machine | *:--machines | *:--against | *:--output | *:--log | *:--record | *:--for)
        compopt -o default && return
        ;;
    *)
        case $command:$current in
        :-*) words='-h --help --version' ;;
        :*) words='check identity lint describe test what-if catalogue doctor' ;;
        check:-*) words="$run --record --redact --require-checks --strict-exit --only-failing --explain --quiet" ;;
        identity:-*) words=$run ;;
        lint:-*) words='-h --help --format --fail-on' ;;
        describe:-*) words='-h --help --for --machine --output --redact' ;;
        test:-*) words='-h --help' ;;
        what-if:-*) words='-h --help --against --machines --summary' ;;
        catalogue:-* | doctor:-*) words='-h --help --format' ;;
        check:* | lint:* | test:* | what-if:*) compopt -o default && return ;;
        identity:*) words='device_serial_number device_id' ;;
        esac
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _vel_posture vel-posture
