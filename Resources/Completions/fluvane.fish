# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# Completions of fish for fluvane and fluvane-watch.

# "number<tab>name, state" for every download: `fluvane list` writes every value on a line of its own.
function __fluvane_numbers
    fluvane list 2>/dev/null | sed -n \
        -e '/^    "id": /{s/^[^0-9]*\([0-9]*\).*/\1/;h;}' \
        -e '/^    "name": /{s/^    "name": "\(.*\)",*$/\1/;s/\\\\\(["\\\\]\)/\1/g;H;}' \
        -e '/^    "state": /{s/^    "state": "\(.*\)",*$/\1/;H;x;s/\n/\t/;s/\n/, /;p;}'
end

# Whether the command is one of these and so many words stand after it.
function __fluvane_at
    set -l words (commandline -opc)
    test (count $words) -eq (math $argv[1] + 2); and contains -- (string lower -- $words[2]) $argv[2..-1]
end

function __fluvane_command
    set -l words (commandline -opc)
    test (count $words) -ge 2; and contains -- (string lower -- $words[2]) $argv
end

complete -c fluvane -f
complete -c fluvane -n __fish_is_first_token -a add -d "Download links, or the links in a text file"
complete -c fluvane -n __fish_is_first_token -a list -d "Print every download as JSON"
complete -c fluvane -n __fish_is_first_token -a pause -d "Pause a download, or all of them"
complete -c fluvane -n __fish_is_first_token -a resume -d "Resume (or try again) a download, or all of them"
complete -c fluvane -n __fish_is_first_token -a remove -d "Take a download off the list"
complete -c fluvane -n __fish_is_first_token -a next -d "Put a waiting or paused download next in line"
complete -c fluvane -n __fish_is_first_token -a prioritize -d "Start a download now, with most of the speed"
complete -c fluvane -n __fish_is_first_token -a link -d "Give a download a fresh link"
complete -c fluvane -n __fish_is_first_token -a checksum -d "Check a download against a checksum"
complete -c fluvane -n __fish_is_first_token -a limit -d "Limit the speed of all downloads together"
complete -c fluvane -n __fish_is_first_token -a show -d "Open the Downloads window"
complete -c fluvane -n __fish_is_first_token -a settings -d "Open Settings"
complete -c fluvane -n __fish_is_first_token -a welcome -d "Open the Welcome window"
complete -c fluvane -n __fish_is_first_token -a whats-new -d "Show what's new in this version"
complete -c fluvane -n __fish_is_first_token -a crash-note -d "Show the note about the last crash or hang"
complete -c fluvane -n __fish_is_first_token -a help -d "Print a summary of the commands"
complete -c fluvane -n __fish_is_first_token -a log -d "Print the last 10 minutes of the log"
complete -c fluvane -n __fish_is_first_token -a diagnostics -d "Print a report for a bug report"
complete -c fluvane -n __fish_is_first_token -a state -d "Print what's on screen as JSON"
complete -c fluvane -n __fish_is_first_token -a snapshot -d "Draw the windows to PNGs"
complete -c fluvane -n __fish_is_first_token -a update -d "Check for updates"
complete -c fluvane -n __fish_is_first_token -a export -d "Save the settings to a file, or print them"
complete -c fluvane -n __fish_is_first_token -a import -d "Replace the settings with the ones in a file"
complete -c fluvane -n __fish_is_first_token -l headless -d "Run without windows, in the foreground"
complete -c fluvane -n __fish_is_first_token -l background -d "Start without coming to the front"
complete -c fluvane -n __fish_is_first_token -l open -r -F -d "Open links and text files of links"

complete -c fluvane -n "__fluvane_at 0 pause resume" -a all -d "Every download"
complete -c fluvane -k -n "__fluvane_at 0 pause resume remove next prioritize link checksum show" \
    -a "(__fluvane_numbers)"
complete -c fluvane -n "__fluvane_at 1 prioritize; or __fluvane_at 0 limit" -a off
complete -c fluvane -n "__fluvane_at 1 checksum" -a none
complete -c fluvane -n "__fluvane_at 0 settings" -a "general files rules connections about"
complete -c fluvane -n "__fluvane_at 0 snapshot" -a "(__fish_complete_directories)"
complete -c fluvane -n "__fluvane_at 0 export import; or __fluvane_command add --open" -F
complete -c fluvane -n "__fluvane_command add" -l to -x -a "(__fish_complete_directories)" -d "The folder to download to"
complete -c fluvane -n "__fluvane_command add" -l checksum -x -d "The SHA-256, SHA-1 or MD5 of the file"

complete -c fluvane-watch -f -k -a "(__fluvane_numbers)"
complete -c fluvane-watch -s h -l help -d "Print a summary"
