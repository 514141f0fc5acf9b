// Cuts a text/event-stream into its events. Comments yield nothing. The server writes one "data:" line or more and ends
// lines with \n or \r\n.
export class EventCutter {
    private rest_ = "";
    private name_ = "";
    private data_: string[] = [];

    // `onEvent` is called for each event that is complete with this piece.
    add(piece: string, onEvent: (name: string, data: string) => void): void {
        const lines = (this.rest_ + piece).split("\n");
        this.rest_ = lines.pop() ?? "";
        for (const line of lines) {
            this.take(line.endsWith("\r") ? line.slice(0, -1) : line, onEvent);
        }
    }

    private take(line: string, onEvent: (name: string, data: string) => void): void {
        if (line === "") {
            this.finish(onEvent);
            return;
        }
        const [, field, value] = /^([^:]*):? ?(.*)$/.exec(line) ?? ["", "", ""];
        if (field === "event") {
            this.name_ = value;
        } else if (field === "data") {
            this.data_.push(value);
        }
    }

    private finish(onEvent: (name: string, data: string) => void): void {
        const [name, data] = [this.name_, this.data_];
        this.name_ = "";
        this.data_ = [];
        if (data.length > 0) {
            onEvent(name || "message", data.join("\n"));
        }
    }
}
