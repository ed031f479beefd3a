#!/usr/bin/env python3
"""Whole commands: lumasift beside GNU sort in the C locale, and cp for fixed records. For each work the commands
take turns, the order reversed from round to round, each into a new file; medians of all rounds, ratios and peak
memory are shown.

Usage: lumasift_bench.py LUMASIFT [--rounds N] [--folder DIRECTORY] [--only WORK] [--records N]
"""
import argparse
import os
import random
import statistics
import subprocess
import time

LINE_REST = b'x' * 87 + b'\n'
LETTERS = b'ABCDEFGHIJKLMNOPQRSTUVWXYZ'


def write_lines(path, keys):
    with open(path, 'wb') as file:
        file.writelines(key + LINE_REST for key in keys)


def make_lines(folder, count):
    """Lines of 98 bytes with a key of 10 letters at the front, in the orders that are measured."""
    if os.path.exists(f'{folder}/merge15'):
        return
    draw = random.Random(7)
    keys = [bytes(draw.choices(LETTERS, k=10)) for _ in range(count)]
    few = [bytes(draw.choices(LETTERS, k=10)) for _ in range(1000)]
    in_order = sorted(keys)
    write_lines(f'{folder}/random', keys)
    write_lines(f'{folder}/sorted', in_order)
    write_lines(f'{folder}/reversed', reversed(in_order))
    write_lines(f'{folder}/equal', [keys[0]] * count)
    write_lines(f'{folder}/thousand', draw.choices(few, k=count))
    for part in range(16):
        write_lines(f'{folder}/merge{part}', sorted(keys[part::16]))


def make_fixed(folder, count):
    """Records of 100 bytes: 8 bytes packed, 4 characters, the rest filler."""
    path = f'{folder}/fixed'
    if os.path.exists(path) and os.path.getsize(path) == count * 100:
        return
    draw = random.Random(8)
    with open(path, 'wb') as file:
        for _ in range(0, count, 10000):
            file.writelines(
                bytes.fromhex(f'{draw.randrange(10**15):015d}' + draw.choice('CD'))
                + bytes(draw.choices(LETTERS, k=4)) + b'f' * 88 for _ in range(10000))


def measure(command, output):
    """Seconds, and peak memory in MB, of one command. Its output is made anew: how long a file system takes to
    drop an old one is neither's merit."""
    if os.path.exists(output):
        os.remove(output)
    start = time.perf_counter()
    # Not this process's child: that would count memory from before its exec.
    run = subprocess.run(['/usr/bin/time', '-f', '%M'] + command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    seconds = time.perf_counter() - start
    if run.returncode != 0:
        raise SystemExit(f'failed: {" ".join(command)}')
    return seconds, int(run.stderr.split()[-1]) / 1024


def compare(title, commands, output, rounds):
    times = {name: [] for name in commands}
    peaks = dict.fromkeys(commands, 0)
    for turn in range(rounds):
        for name in (list(commands) if turn % 2 == 0 else reversed(list(commands))):
            seconds, peak = measure(commands[name], output)
            times[name].append(seconds)
            peaks[name] = max(peaks[name], peak)
    own = statistics.median(times['lumasift'])
    print(title)
    for name, measured in times.items():
        median = statistics.median(measured)
        print(f'  {name:28} {median:8.3f} s  least {min(measured):8.3f} s  x{median / own:5.2f}  {peaks[name]:6.1f} MB')


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument('lumasift')
    arguments.add_argument('--rounds', type=int, default=5)
    arguments.add_argument('--folder', default='/tmp/lumasift_bench')
    arguments.add_argument('--only', choices=['random', 'orders', 'merge', 'fixed'])
    arguments.add_argument('--records', type=int, default=10000000, help='fixed records')
    given = arguments.parse_args()
    folder, only = given.folder, given.only
    os.environ['LC_ALL'] = 'C'
    os.environ['COB_SORT_MAX_TMP_FILES'] = '30000'
    os.makedirs(folder, exist_ok=True)
    output = f'{folder}/output'
    own = [given.lumasift, '-T', folder, '-x', 'nomsg', '-o', output]
    by_key = own + ['-k', '1.1,1.10']
    make_lines(folder, 1000000)
    if only in (None, 'random'):
        peer = ['sort', '-T', folder, '-o', output, '-k1,1', '-s']
        compare('1,000,000 lines, random keys', {
            'lumasift': by_key + [f'{folder}/random'],
            'sort -S 1M --parallel=1': peer + ['-S', '1M', '--parallel=1', f'{folder}/random'],
            'sort, all memory, two threads': peer + ['--parallel=2', f'{folder}/random'],
        }, output, given.rounds)
    if only in (None, 'orders'):
        orders = ['sorted', 'reversed', 'equal', 'thousand']
        compare('the same, by the order of the keys (random is "lumasift")', {
            'lumasift': by_key + [f'{folder}/random'],
            **{order: by_key + [f'{folder}/{order}'] for order in orders},
        }, output, given.rounds)
    if only in (None, 'merge'):
        parts = [f'{folder}/merge{part}' for part in range(16)]
        compare('merge of 16 files, 1,000,000 lines', {
            'lumasift': by_key + ['-m'] + parts,
            'sort -m': ['sort', '-o', output, '-k1,1', '-s', '-m'] + parts,
        }, output, given.rounds)
    if only in (None, 'fixed'):
        make_fixed(folder, given.records)
        layout = ['-x', 'format packed 8 char 4 char 88', '-k', '1,1', '-k', '2,2']
        compare(f'{given.records:,} fixed records, packed and char key', {
            'lumasift': own + layout + [f'{folder}/fixed'],
            'cp': ['cp', f'{folder}/fixed', output],
        }, output, given.rounds)


if __name__ == '__main__':
    main()
