#!/usr/bin/env python3
"""Checks what the guides name: pictures and links exist, the console program knows the commands and options, the
sources know the settings' paths, and the resources have the texts of the windows."""
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent
wrong = []


def resource_text(language):
    files = sorted((root / 'resources' / language).glob('*.rc'))
    text = '\n'.join(file.read_text('utf-8') for file in files)
    return text.replace('&', '').replace('""', '"')


def sources():
    files = [*root.glob('settings/*'), *root.glob('csp/*'), *root.glob('pages/*')]
    return '\n'.join(file.read_text('utf-8') for file in files if file.suffix in ('.h', '.cpp')).replace('\\\\', '\\')


def options_of(command, help_texts={}):
    if command not in help_texts:
        run = subprocess.run([root / 'tools/wine.sh', root / 'build/bin/vestractl.exe', *command.split(), '--help'],
                             capture_output=True, text=True)
        help_texts[command] = run.stdout if run.returncode == 0 else None
    return help_texts[command]


def check_commands(name, text):
    for line in re.findall(r'vestractl [^`\n|]+', text):
        words = line.split()[1:]
        if words[0].startswith('--'):
            continue
        command = ' '.join(words[:2] if words[0] == 'settings' else words[:1])
        help_text = options_of(command)
        if help_text is None:
            wrong.append(f'{name}: vestractl has no command "{command}"')
            continue
        for option in re.findall(r'--[a-z-]+', line):
            if option not in help_text:
                wrong.append(f'{name}: "vestractl {command}" has no option {option}')


def check(name, language, code):
    text = (root / 'docs' / name).read_text('utf-8')
    windows = resource_text(language)
    for target in re.findall(r'\]\(([^)#]+)\)', text):
        if not (root / 'docs' / target).exists():
            wrong.append(f'{name}: {target} does not exist')
    headings = {re.sub(r'[^\w\- ]', '', line.lower()).replace(' ', '-') for line in re.findall(r'^#+ (.*)$', text, re.M)}
    for target in re.findall(r'\]\(#([^)]+)\)', text):
        if target not in headings:
            wrong.append(f'{name}: no heading for #{target}')
    check_commands(name, text)
    for path in re.findall(r'`(?:HKEY_LOCAL_MACHINE)?(\\[^`*]+|tls_\w+|\w+\.dll)`', text):
        for part in re.split(r'\\NAME\\?', re.sub(r'Type \d+$', 'Type %03u', path)):
            if part.strip('\\') and part.strip('\\').split('\\')[-1] not in code:
                wrong.append(f'{name}: no setting is stored in {path}')
    quoted = re.findall(r'\*\*([^*]+)\*\*', text)
    messages = text[text.rindex('\n## '):]
    quoted += re.findall(r'"([^"…]+)"' if language == 'en' else r'«([^»…]+)»', '\n'.join(
        line.split('|')[1] for line in messages.splitlines() if line.startswith('| ')))
    for caption in quoted:
        if ' '.join(caption.split()) not in windows:
            wrong.append(f'{name}: no window has the text "{caption}"')


code = sources()
check('guide.md', 'en', code)
check('guide.ru.md', 'ru', code)
print('\n'.join(wrong))
sys.exit(1 if wrong else 0)
