# SPDX-License-Identifier: Apache-2.0
# Completes the arguments of vel-posture in bash (4.3 and later).

_vel_posture() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command= words=
    ((COMP_CWORD > 1)) && command=${COMP_WORDS[1]}
    COMPREPLY=()
    # "--format=json" is three words here.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    case $previous in
    --format) words='json text' ;;
    --machine | --log) compopt -o default && return ;;
    *)
        case $command:$current in
        :-*) words='-h --help --version' ;;
        :*) words='check identity lint catalogue' ;;
        check:-* | identity:-*) words='-h --help --machine --format --log' ;;
        lint:-* | catalogue:-*) words='-h --help --format' ;;
        check:* | lint:*) compopt -o default && return ;;
        identity:*) words='device_serial_number device_id' ;;
        esac
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _vel_posture vel-posture
