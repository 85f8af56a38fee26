# To be sourced by scripts that take several steps: one that fails does not keep the others from running, and the sum of
# all stands at the end.

step_names=()
step_results=()

step() { # NAME COMMAND...
    printf '\n== %s\n' "$1"
    step_names+=("$1")
    if "${@:2}"; then
        step_results+=(passed)
    else
        step_results+=(FAILED)
    fi
}

# Fails when a step did.
sum_of_steps() {
    local i status=0
    printf '\n== Sum\n'
    for i in "${!step_names[@]}"; do
        printf '%s  %s\n' "${step_results[i]}" "${step_names[i]}"
        [ "${step_results[i]}" = passed ] || status=1
    done
    return "$status"
}
