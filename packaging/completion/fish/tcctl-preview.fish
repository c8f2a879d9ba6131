# fish completion of tcctl-preview. tools/generate.py writes this file.

complete -c tcctl-preview -f
complete -c tcctl-preview -s h -l help -d 'print help, and end'
complete -c tcctl-preview -l version -d 'print the version, and end'
complete -c tcctl-preview -l from -x -d '\'YYYY-MM-DD HH:MM:SS\' by the router\'s clock (now)'
complete -c tcctl-preview -l days -x -d 'how many days, 1 to 3660 (7)'
complete -c tcctl-preview -l tz -x -d 'the router\'s time zone, as TZ has it (this machine\'s)'
complete -c tcctl-preview -l uptime -x -d 'how long it has been up then, in seconds (this router\'s; a day for a FILE)'
complete -c tcctl-preview -l clients -x -d 'when somebody uses the network: none, always, or HH:MM-HH:MM... (none)'
complete -c tcctl-preview -l format -x -a 'text json svg html' -d 'text, json, svg or html (text)'
complete -c tcctl-preview -F
