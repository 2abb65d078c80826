// A small weather station: a sensor puts readings on a shared bus, a FIFO takes them, a UART sends
// them over one wire, and the receiving side gathers them in a two-stage statistics pipeline.
//
// It shows what a recording can hold: registers that are x until reset, a bus that floats (z)
// between two drivers, a state machine, a real number, an event, and a text in a register.

`timescale 1ns / 100ps

// First-in first-out queue of bytes, eight deep.
module byte_fifo (
    input  wire       clk,
    input  wire       rst,
    input  wire       push,
    input  wire [7:0] push_data,
    input  wire       pop,
    output wire [7:0] pop_data,
    output wire       empty,
    output wire       full,
    output reg  [3:0] level
);
    reg [7:0] store [0:7];
    reg [2:0] head;
    reg [2:0] tail;

    assign pop_data = store[head];
    assign empty    = level == 0;
    assign full     = level == 8;

    wire do_push = push && !full;
    wire do_pop  = pop && !empty;

    always @(posedge clk) begin
        if (rst) begin
            head  <= 0;
            tail  <= 0;
            level <= 0;
        end else begin
            if (do_push) begin
                store[tail] <= push_data;
                tail        <= tail + 1;
            end
            if (do_pop) head <= head + 1;
            level <= level + do_push - do_pop;
        end
    end
endmodule

// Serial transmitter: start bit, eight data bits from the lowest on, even parity, stop bit.
module uart_tx #(
    parameter CLOCKS_PER_BIT = 8
) (
    input  wire       clk,
    input  wire       rst,
    input  wire       start,
    input  wire [7:0] data,
    output reg        line,
    output wire       busy
);
    localparam IDLE = 3'd0, START = 3'd1, DATA = 3'd2, PARITY = 3'd3, STOP = 3'd4;

    reg [2:0] state;
    reg [7:0] shifter;
    reg [2:0] bit_index;
    reg [3:0] divider;
    reg       parity;

    wire tick = divider == CLOCKS_PER_BIT - 1;
    assign busy = state != IDLE;

    always @(posedge clk) begin
        if (rst) begin
            state     <= IDLE;
            line      <= 1;
            divider   <= 0;
            bit_index <= 0;
        end else begin
            divider <= (tick || state == IDLE) ? 4'd0 : divider + 4'd1;
            case (state)
                IDLE:
                    if (start) begin
                        shifter <= data;
                        parity  <= ^data;
                        line    <= 0;
                        state   <= START;
                    end
                START:
                    if (tick) begin
                        line      <= shifter[0];
                        shifter   <= shifter >> 1;
                        bit_index <= 0;
                        state     <= DATA;
                    end
                DATA:
                    if (tick) begin
                        if (bit_index == 7) begin
                            line  <= parity;
                            state <= PARITY;
                        end else begin
                            line      <= shifter[0];
                            shifter   <= shifter >> 1;
                            bit_index <= bit_index + 1;
                        end
                    end
                PARITY:
                    if (tick) begin
                        line  <= 1;
                        state <= STOP;
                    end
                STOP: if (tick) state <= IDLE;
            endcase
        end
    end
endmodule

// Serial receiver for the same frame; samples in the middle of each bit.
module uart_rx #(
    parameter CLOCKS_PER_BIT = 8
) (
    input  wire       clk,
    input  wire       rst,
    input  wire       line,
    output reg  [7:0] data,
    output reg        valid,
    output reg        parity_error
);
    reg [3:0] bits_left;
    reg [3:0] divider;
    reg [9:0] frame;

    always @(posedge clk) begin
        valid <= 0;
        if (rst) begin
            bits_left    <= 0;
            parity_error <= 0;
        end else if (bits_left == 0) begin
            divider <= CLOCKS_PER_BIT / 2;
            if (!line) bits_left <= 11;
        end else if (divider == CLOCKS_PER_BIT - 1) begin
            divider   <= 0;
            frame     <= {line, frame[9:1]};
            bits_left <= bits_left - 1;
            if (bits_left == 1) begin
                data         <= frame[8:1];
                parity_error <= ^frame[9:1];
                valid        <= 1;
            end
        end else divider <= divider + 1;
    end
endmodule

// Two stages: the first takes a reading and its distance from the last one, the second keeps sum,
// extremes and a checksum.
module statistics (
    input  wire               clk,
    input  wire               rst,
    input  wire               valid,
    input  wire        [7:0]  sample,
    output reg                updated,
    output reg         [31:0] sum,
    output reg         [7:0]  lowest,
    output reg         [7:0]  highest,
    output reg  signed [8:0]  step,
    output reg         [15:0] checksum
);
    reg       stage1_valid;
    reg [7:0] stage1_sample;

    always @(posedge clk) begin
        stage1_valid <= valid && !rst;
        updated      <= stage1_valid;
        if (rst) begin
            sum      <= 0;
            lowest   <= 8'hff;
            highest  <= 0;
            checksum <= 16'h1d0f;
        end else begin
            if (valid) begin
                stage1_sample <= sample;
                step          <= $signed({1'b0, sample}) - $signed({1'b0, stage1_sample});
            end
            if (stage1_valid) begin
                sum      <= sum + stage1_sample;
                checksum <= {checksum[14:0], checksum[15]} ^ {8'h00, stage1_sample};
                if (stage1_sample < lowest) lowest <= stage1_sample;
                if (stage1_sample > highest) highest <= stage1_sample;
            end
        end
    end
endmodule

// The station: two sensors share one bus, which nobody drives in between. What is on the bus at a
// `take` is sent.
module weather_station (
    input  wire        clk,
    input  wire        rst,
    input  wire        read_temperature,
    input  wire        read_wind,
    input  wire        take,
    input  wire [7:0]  temperature,
    input  wire [7:0]  wind,
    output wire        line,
    output wire [31:0] sum,
    output wire        updated
);
    wire [7:0] bus;
    assign bus = read_temperature ? temperature : 8'hzz;
    assign bus = read_wind ? wind : 8'hzz;

    wire [7:0] next_byte;
    wire       empty, full, busy, valid, parity_error;
    wire [3:0] level;
    wire [7:0] received;
    wire [7:0] lowest, highest;
    wire signed [8:0] step;
    wire [15:0] checksum;
    wire       send = !empty && !busy;

    byte_fifo queue (
        .clk(clk), .rst(rst),
        .push(take), .push_data(bus),
        .pop(send), .pop_data(next_byte), .empty(empty), .full(full), .level(level)
    );
    uart_tx transmitter (
        .clk(clk), .rst(rst), .start(send), .data(next_byte), .line(line), .busy(busy)
    );
    uart_rx receiver (
        .clk(clk), .rst(rst), .line(line),
        .data(received), .valid(valid), .parity_error(parity_error)
    );
    statistics pipeline (
        .clk(clk), .rst(rst), .valid(valid), .sample(received), .updated(updated), .sum(sum),
        .lowest(lowest), .highest(highest), .step(step), .checksum(checksum)
    );
endmodule

// Test bench: a calm spell, a storm that fills the FIFO, and a reset in the middle of a frame.
module bench;
    reg         clk = 0;
    reg         rst;
    reg         read_temperature = 0;
    reg         read_wind = 0;
    reg         take = 0;
    reg  [7:0]  temperature;
    reg  [7:0]  wind;
    wire        line;
    wire [31:0] sum;
    wire        updated;

    integer readings = 0;
    real    average;
    event   lightning;
    reg [8*11:1] weather;

    weather_station station (
        .clk(clk), .rst(rst),
        .read_temperature(read_temperature), .read_wind(read_wind), .take(take),
        .temperature(temperature), .wind(wind),
        .line(line), .sum(sum), .updated(updated)
    );

    always #5 clk = ~clk;

    always @(posedge clk)
        if (updated) begin
            readings = readings + 1;
            average  = 1.0 * station.sum / readings;
        end

    // Each sensor holds the bus for `hold` clocks; its reading is taken at the end.
    task measure(input [7:0] celsius, input [7:0] knots, input integer hold, input integer gap);
        begin
            temperature = celsius;
            wind = knots;
            read_temperature = 1;
            repeat (hold) @(negedge clk);
            take = 1;
            @(negedge clk) take = 0;
            read_temperature = 0;
            repeat (hold / 2) @(negedge clk);
            read_wind = 1;
            repeat (hold) @(negedge clk);
            take = 1;
            @(negedge clk) take = 0;
            read_wind = 0;
            repeat (gap) @(negedge clk);
        end
    endtask

    integer n;
    integer seed = 2026;
    initial begin
        $dumpfile("weather_station.vcd");
        $dumpvars(0, bench);

        weather = "power-up";
        repeat (80) @(negedge clk);
        rst = 1;
        repeat (40) @(negedge clk);
        rst = 0;
        weather = "calm";
        for (n = 0; n < 5; n = n + 1)
            measure(18 + n, 3 + ($random(seed) & 3), 50, 80);

        weather = "storm";
        for (n = 0; n < 8; n = n + 1) begin
            if (n % 3 == 1) -> lightning;
            measure(16 - n, 40 + ($random(seed) & 31), 12, 20);
        end
        repeat (360) @(negedge clk);

        weather = "restart";
        rst = 1;
        readings = 0;
        repeat (40) @(negedge clk);
        rst = 0;
        weather = "clearing up";
        for (n = 0; n < 3; n = n + 1)
            measure(14 + n, 12 - 2 * n, 50, 80);
        repeat (60) @(negedge clk);
        $display("%0d readings, average %0.2f", readings, average);
        $finish;
    end
endmodule
