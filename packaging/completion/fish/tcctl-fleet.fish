# fish completion of tcctl-fleet. tools/generate.py writes this file.

complete -c tcctl-fleet -f
complete -c tcctl-fleet -s h -l help -d 'print help, and end'
complete -c tcctl-fleet -l version -d 'print the version, and end'
complete -c tcctl-fleet -l routers -x -d 'how many routers there are'
complete -c tcctl-fleet -l profile -r -F -d 'what they have in common, - for standard input (docs/fleet.md)'
complete -c tcctl-fleet -l seed -x -d 'another number, other routers of the same kind (1)'
complete -c tcctl-fleet -l night -x -d 'the day on whose evening it begins, YYYY-MM-DD (2026-03-02)'
complete -c tcctl-fleet -l shard -x -d 'the I-th of K parts of them alone'
complete -c tcctl-fleet -l jobs -x -d 'how many processes (one a processor)'
complete -c tcctl-fleet -l out -r -F -d 'where to (standard output)'
complete -c tcctl-fleet -l format -x -a 'text json svg' -d 'text, json or svg (text; of a shard json)'
complete -c tcctl-fleet -l merge -r -F -d 'adds up what was written as JSON'
complete -c tcctl-fleet -n '__fish_contains_opt merge' -F
