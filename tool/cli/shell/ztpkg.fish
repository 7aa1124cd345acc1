# SPDX-License-Identifier: Apache-2.0
# fish completion of ztpkg. ztpkg __complete lists what fits; this file passes it the words and shows its answer.

# Prints the paths of the package $argv[1], without their leading slash where $argv[2] has none. Names that are
# printed with escapes are left out.
function __ztpkg_paths
    set -l package (string replace -r '^~/' "$HOME/" -- $argv[1])
    set -l paths (command ztpkg list -- $package 2>/dev/null </dev/null | string match -v '*\\\\*')
    if string match -q '/*' -- $argv[2]
        printf '%s\n' $paths
    else
        string sub -s 2 -- $paths
    end
end

function __ztpkg_complete
    set -l current (commandline -ct)
    set -l answer (command ztpkg __complete (commandline -opc)[2..-1] "$current" 2>/dev/null </dev/null)
    set -l kind (string split -m 1 ' ' -- $answer[1])
    set -l option ''
    string match -q '*=' -- $kind[1]; and set option (string replace -r '=.*' '=' -- $current)
    set -l value (string sub -s (math 1 + (string length -- "$option")) -- "$current")
    switch (string replace '=' '' -- $kind[1])
        case words
            printf '%s\n' $answer[2..-1]
        case files
            printf '%s\n' $option(__fish_complete_path "$value")
        case directories
            printf '%s\n' $option(__fish_complete_directories "$value" '')
        case paths
            printf '%s\n' $option(__ztpkg_paths $kind[2] "$value")
    end
end

complete -c ztpkg -f -a '(__ztpkg_complete)'
